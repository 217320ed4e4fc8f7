// Window factory: windows by enumerated type, with the stored type, size and parameter.
#define KIVO_SOURCE_UNIT "src/dsp/WindowFactory"

#include <ombrel/dsp/WindowFactory.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>

#include "kernels/Error.h"
#include "kernels/SelfTest.h"

#include <memory>

namespace Kivo {

WindowFactory::WindowFactory() : type(WT_UNIFORM), size(0), parameter(0.0f), lastMade(nullptr) {}

WindowFactory::~WindowFactory() = default;

Window* WindowFactory::MakeWindow(WindowType t) {
    type = t;
    Window* w = nullptr;
    switch (t) {
        case WT_UNIFORM:
            w = new Window();
            break;
        case WT_BLACKMAN_HARRIS:
            w = new BlackmanHarrisWindow();
            break;
        case WT_FLAT_TOP:
            w = new FlatTopWindow();
            break;
        case WT_HANN:
            w = new HannWindow();
            break;
        case WT_GAUSS:
            w = new GaussWindow();
            break;
        case WT_KAISER:
            w = new KaiserWindow(KAISER_MODE_STANDARD);
            break;
        default:
            return lastMade;
    }
    lastMade = w;
    return w;
}

Window* WindowFactory::MakeWindow(WindowType t, int n, float param) {
    type = t;
    size = n;
    parameter = param;
    Window* w = nullptr;
    switch (t) {
        case WT_UNIFORM:
            w = new Window(n, 0.0f);
            break;
        case WT_BLACKMAN_HARRIS:
            w = new BlackmanHarrisWindow(n);
            break;
        case WT_FLAT_TOP:
            w = new FlatTopWindow(n);
            break;
        case WT_HANN:
            w = new HannWindow(n);
            break;
        case WT_GAUSS:
            w = new GaussWindow(n);
            break;
        case WT_KAISER:
            w = new KaiserWindow(n);
            break;
        default:
            return lastMade;
    }
    lastMade = w;
    return w;
}

void WindowFactory::SetParameters(Window* window, int n, float param) {
    size = n;
    parameter = param;
    if (!IsValid(type)) return;
    if (!window) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    window->SetParameters(n, param);
}

void WindowFactory::SetParameters(Window* window, int n) {
    size = n;
    if (!IsValid(type)) return;
    if (!window) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    window->SetParameters(n);
}

bool WindowFactory::UnitTest(UnitTestRecorder& r) {
    bool ok = true;
    const char* cls = "WindowFactory";
    WindowFactory f;
    kernels::Record(r, ok, cls, "starts with type, size and parameter 0",
                    f.GetType() == WT_UNIFORM && f.GetSize() == 0 && f.GetPara() == 0.0f);
    kernels::Record(r, ok, cls, "out-of-range type before any window gives null",
                    f.MakeWindow(static_cast<WindowType>(9)) == nullptr);
    std::unique_ptr<Window> g(f.MakeWindow(WT_GAUSS, 64, 2.0f));
    GaussWindow ref(64);
    VecReal32 cg, cr;
    g->GetCoefficients(cg);
    ref.GetCoefficients(cr);
    bool same = cg.GetSize() == 64 && cr.GetSize() == 64;
    for (int i = 0; same && i < 64; ++i)
        same = cg[i] == cr[i];
    kernels::Record(r, ok, cls, "MakeWindow(WT_GAUSS, 64, 2) keeps alpha 3.5, stores 2",
                    same && f.GetPara() == 2.0f && f.GetSize() == 64 && f.GetType() == WT_GAUSS);
    kernels::Record(r, ok, cls, "out-of-range type returns the window last made",
                    f.MakeWindow(static_cast<WindowType>(-1), 8, 0.0f) == g.get());
    std::unique_ptr<Window> k(f.MakeWindow(WT_KAISER));
    kernels::Record(r, ok, cls, "MakeWindow(type) computes nothing",
                    k->GetSize() == 0 && k->GetEffectiveRBWScaling() == 2.2292f);
    f.SetParameters(k.get(), 128);
    kernels::Record(r, ok, cls, "SetParameters(window, size) computes", k->GetSize() == 128);
    return ok;
}

}  // namespace Kivo
