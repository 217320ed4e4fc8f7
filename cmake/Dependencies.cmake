# Third-party libraries behind the library: FFTW 3 (single and double), SLEEF and the thread
# library. They are private dependencies of libombrel.so; the static archive used by the tests
# carries them as an interface target. LAPACKE is only compiled against (its header): the library
# loads it on the first matrix inversion (src/kernels/Lapack.cpp), so that programs do not pay
# for loading OpenBLAS and the Fortran run time at start-up.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(OMBREL_FFTW3 REQUIRED IMPORTED_TARGET fftw3 fftw3f)
pkg_check_modules(OMBREL_SLEEF REQUIRED IMPORTED_TARGET sleef)
pkg_check_modules(OMBREL_LAPACKE REQUIRED IMPORTED_TARGET lapacke)

add_library(ombrel_deps INTERFACE)
target_link_libraries(ombrel_deps INTERFACE PkgConfig::OMBREL_FFTW3 PkgConfig::OMBREL_SLEEF
                                            Threads::Threads m ${CMAKE_DL_LIBS})
target_include_directories(ombrel_deps INTERFACE ${OMBREL_LAPACKE_INCLUDE_DIRS})
