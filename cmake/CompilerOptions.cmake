# Compiler options shared by every target of the project.
add_library(ombrel_options INTERFACE)
target_compile_options(ombrel_options INTERFACE
  -Wall -Wextra -Wpedantic
  # Element-wise arithmetic must round once per operation so that the optimised kernels agree
  # bit for bit with their scalar references; contraction into FMA would change results.
  -ffp-contract=off
  # The library never reads errno; without this a sqrt call keeps loops from vectorising.
  -fno-math-errno)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(ombrel_options INTERFACE -O3)
endif()
if(OMBREL_NATIVE)
  target_compile_options(ombrel_options INTERFACE -march=native)
endif()
if(OMBREL_SANITIZE)
  set(_san -fsanitize=${OMBREL_SANITIZE} -fno-omit-frame-pointer)
  if(OMBREL_SANITIZE MATCHES "undefined")
    list(APPEND _san -fno-sanitize-recover=all)
  endif()
  target_compile_options(ombrel_options INTERFACE ${_san})
  target_link_options(ombrel_options INTERFACE ${_san})
  # The library is linked with the same flags, so the sanitizer runtime is always present.
  add_compile_options(${_san})
  add_link_options(${_san})
endif()
