// Making windows from their enumerated type.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/dsp/Window.h>

namespace Kivo {

class UnitTestRecorder;

/// Makes windows by WindowType and remembers the type, size and parameter last given.
///
/// The windows it returns belong to the caller, who deletes them through Window's virtual
/// destructor; the factory never deletes them. A type outside WT_UNIFORM ... WT_KAISER makes
/// nothing and returns the window made by the previous successful call (null before any).
class OMBREL_API WindowFactory {
  public:
    /// Type, size and parameter 0; no window made yet.
    WindowFactory();
    virtual ~WindowFactory();

    /// Stores the type and returns a new window of it made with the class's default
    /// constructor (Kaiser: standard mode); nothing is computed until SetParameters.
    Window* MakeWindow(WindowType type);
    /// Stores type, size and parameter and returns a new window of `size` points with the
    /// class's default parameter. The parameter is only stored, deliberately: Gauss and Kaiser
    /// windows made here have alpha 3.5 and beta 16.71; call SetParameters(window, size,
    /// parameter) afterwards for another shape.
    Window* MakeWindow(WindowType type, int size, float parameter);

    /// Stores size and parameter; when the stored type is a valid one, recomputes `window` with
    /// window->SetParameters(size, parameter).
    /// @throws KivoException 8005 "invalid input parameter" when `window` is null and would be
    /// recomputed.
    void SetParameters(Window* window, int size, float parameter);
    /// Stores size; when the stored type is a valid one, window->SetParameters(size).
    /// @throws KivoException 8005 when `window` is null and would be recomputed.
    void SetParameters(Window* window, int size);

    WindowType GetType() const { return type; }
    int GetSize() const { return size; }
    float GetPara() const { return parameter; }

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    static bool IsValid(WindowType t) { return t >= WT_UNIFORM && t <= WT_KAISER; }

    WindowType type;
    int size;
    float parameter;
    Window* lastMade;  ///< not owned
};

}  // namespace Kivo
