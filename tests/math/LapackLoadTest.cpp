// LAPACKE is loaded by the first matrix inversion, not when a program starts: a program that
// never inverts a matrix does not carry OpenBLAS and the Fortran run time. This test runs in its
// own process, so nothing has inverted a matrix before it.
#include <ombrel/Ombrel.h>

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

bool Mapped(const std::string& name) {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line))
        if (line.find(name) != std::string::npos) return true;
    return false;
}

}  // namespace

TEST(LapackLoad, LoadedByTheFirstInversionOnly) {
    // Other library work first: none of it needs LAPACK.
    Kivo::VecReal32 v(16);
    for (int i = 0; i < 16; ++i)
        v[i] = 1.0f + static_cast<float>(i);
    Kivo::VecReal32 lg;
    Kivo::MathUtils::Log10(lg, v);
    EXPECT_FALSE(Mapped("liblapacke")) << "LAPACKE is loaded before any inversion";

    // [[4, 7], [2, 6]]^-1 = [[0.6, -0.7], [-0.2, 0.4]].
    Kivo::MatReal64 a(2, 2), r;
    a[0][0] = 4;
    a[0][1] = 7;
    a[1][0] = 2;
    a[1][1] = 6;
    Kivo::MathUtils::Inv(r, a);
    EXPECT_TRUE(Mapped("liblapacke"));
    EXPECT_NEAR(r[0][0], 0.6, 1e-15);
    EXPECT_NEAR(r[0][1], -0.7, 1e-15);
    EXPECT_NEAR(r[1][0], -0.2, 1e-15);
    EXPECT_NEAR(r[1][1], 0.4, 1e-15);
}
