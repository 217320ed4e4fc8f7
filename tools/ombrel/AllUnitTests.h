// Every class's static UnitTest, run in one recorder. Shared by `ombrel selftest` and the test
// suite, so a class added here is checked in both places.
#pragma once

#include <ombrel/Ombrel.h>

namespace ombrel_tool {

inline bool RunAllUnitTests(Kivo::UnitTestRecorder& r) {
    using namespace Kivo;
    bool ok = true;
    // Core containers and memory
    ok &= Checksum::UnitTest(r);
    ok &= BaseVector<unsigned char>::UnitTest(r);
    ok &= BaseVector<short>::UnitTest(r);
    ok &= BaseVector<int>::UnitTest(r);
    ok &= BaseVector<unsigned int>::UnitTest(r);
    ok &= BaseVector<float>::UnitTest(r);
    ok &= BaseVector<double>::UnitTest(r);
    ok &= BaseVector<Cplx32>::UnitTest(r);
    ok &= BaseVector<Cplx64>::UnitTest(r);
    ok &= VecReal32::UnitTest(r);
    ok &= VecReal64::UnitTest(r);
    ok &= VecCplx32::UnitTest(r);
    ok &= VecCplx64::UnitTest(r);
    ok &= VecInt16::UnitTest(r);
    ok &= VecInt32::UnitTest(r);
    ok &= VecUInt8::UnitTest(r);
    ok &= VecUInt32::UnitTest(r);
    ok &= BitVector::UnitTest(r);
    ok &= BaseMatrix<float>::UnitTest(r);
    ok &= BaseMatrix<double>::UnitTest(r);
    ok &= MatReal32::UnitTest(r);
    ok &= MatReal64::UnitTest(r);
    ok &= Complex::UnitTest(r);
    // Numeric utilities
    ok &= MathUtils::UnitTest(r);
    // Transforms and windows
    ok &= FFT::UnitTest(r);
    ok &= DFT::UnitTest(r);
    ok &= FT::UnitTest(r);
    ok &= ChirpZ::UnitTest(r);
    ok &= Window::UnitTest(r);
    ok &= BlackmanHarrisWindow::UnitTest(r);
    ok &= FlatTopWindow::UnitTest(r);
    ok &= HannWindow::UnitTest(r);
    ok &= GaussWindow::UnitTest(r);
    ok &= KaiserWindow::UnitTest(r);
    ok &= WindowFactory::UnitTest(r);
    // Numeric utilities
    ok &= DSPUtils::UnitTest(r);
    // Spectrum analysis
    ok &= Spectrum::UnitTest(r);
    // Instrumentation
    ok &= KivoTimer::UnitTest(r);
    ok &= KivoTimer2::UnitTest(r);
    ok &= UnitTestRecorder::UnitTest(r);
    return ok;
}

}  // namespace ombrel_tool
