// Window functions: the uniform base class and the Blackman-Harris, flat-top, Hann, Gaussian and
// Kaiser shapes, with their noise bandwidth, power correction and RBW scaling figures.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Vector.h>

namespace Kivo {

class UnitTestRecorder;

/// The window shapes, as the spectrum classes and WindowFactory take them.
enum WindowType : int {
    WT_UNIFORM = 0,
    WT_BLACKMAN_HARRIS = 1,
    WT_FLAT_TOP = 2,
    WT_HANN = 3,
    WT_GAUSS = 4,
    WT_KAISER = 5
};

/// Kaiser variants: standard (beta 16.71, RBW factor 2.2292) and narrow (beta 14.6, 2.0859).
enum KaiserWindowModeTag : int { KAISER_MODE_STANDARD = 0, KAISER_MODE_NARROW = 1 };

/// Uniform (rectangular) window and base of every window shape.
///
/// A window of N points holds its N values each stored twice in a row (w0, w0, w1, w1, ...), so
/// the 2N coefficients multiply interleaved complex samples float by float. Every window is
/// normalised to unit sum (sum of the N values = 1): a windowed transform of a full-scale tone
/// reads the tone's amplitude with no further division by N or by the coherent gain.
///
/// A window is empty (size 0) until a size is set; every SetParameters recomputes everything.
/// Sizes of 0 or less give an empty window of size 0. One point makes the cosine shapes 0/0,
/// i.e. not-a-number coefficients (their closed forms divide by N - 1); uniform, Gaussian and
/// Kaiser windows of one point are [1].
///
/// Copying is deep. Apply, GetCoefficients and the noise figures only read the window, so
/// several threads may use one window at once while nobody calls SetParameters.
class OMBREL_API Window {
  public:
    /// Empty uniform window (size 0); nothing is computed until SetParameters.
    Window();
    /// Uniform window of `size` points: every value 1/size.
    explicit Window(int size);
    /// Stores `parameter` (not used by the uniform shape) and computes the uniform window.
    Window(int size, float parameter);
    Window(const Window& other);
    Window& operator=(const Window& other);
    virtual ~Window();

    /// Recomputes the window for `size` points with the class's default parameter.
    virtual void SetParameters(int size);
    /// Recomputes with a shape parameter (Gauss alpha, Kaiser beta). The uniform window ignores
    /// the parameter; Hann, flat top and Blackman-Harris store 0 and recompute for `size`.
    virtual void SetParameters(int size, float parameter);

    /// out = in[n] * w[n]; out takes in's length.
    /// @throws KivoException 8005 "invalid input parameter" when in's length is not GetSize().
    void Apply(VecReal32& out, const VecReal32& in) const;
    /// out = in with both parts of sample n multiplied by w[n]; out takes in's length and keeps
    /// its buffer when that is large enough, so repeated calls allocate nothing. `out` may be
    /// `in` itself. @throws KivoException 8005 when in's length is not GetSize().
    void Apply(VecCplx32& out, const VecCplx32& in) const;
    /// In place: both parts of data[n] multiplied by w[n].
    /// @throws KivoException 8005 when data's length is not GetSize().
    void Apply(VecCplx32& data) const;
    /// out = the N window values (every second stored coefficient), normalised to unit sum.
    void GetCoefficients(VecReal32& out) const;

    /// N, the number of points.
    int GetSize() const { return size; }
    /// Factor turning bin spacing into resolution bandwidth: the window's 3 dB bandwidth in
    /// bins, a constant of the class (and Kaiser mode) that is not recomputed when the shape
    /// parameter changes.
    float GetEffectiveRBWScaling() const { return rbwScaling; }
    /// Equivalent noise bandwidth in bins, N * sum(w^2) / (sum w)^2, from the coefficients:
    /// 1 for the uniform window, about 1.5 for Hann. 0 for an empty window.
    float GetENBW() const;
    /// 10 log10(GetENBW()) [dB]: the correction from bin power to noise density.
    float GetPowerAdjustIndB() const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    /// Empty window with the RBW factor of a derived class.
    explicit Window(float rbwScalingFactor);
    /// Half the sum of the 2N stored coefficients, i.e. the sum of the N window values.
    float GetNBScaleFactor() const;
    /// Stores the N raw values of `temp` twice each into the coefficients and divides them by
    /// their sum. `temp` must hold `size` values.
    void StoreNormalised(const VecReal32& temp);
    /// Makes the window empty (size 0, no coefficients, storage released).
    void MakeEmpty();

    VecReal32 coefficients;  ///< 2N values: w0, w0, w1, w1, ...
    int size;                ///< N
    float parameter;         ///< Gauss alpha or Kaiser beta; 0 for the other shapes
    float rbwScaling;        ///< RBW scaling factor of the class
    int reserved;            ///< kept at 0, unused
};

/// Hann window 0.5 - 0.5 cos(2 pi i / (N - 1)); RBW factor 1.44.
class OMBREL_API HannWindow : public Window {
  public:
    HannWindow();
    explicit HannWindow(int size);
    ~HannWindow() override;
    void SetParameters(int size) override;
    /// The parameter is not used: stored as 0, then SetParameters(size).
    void SetParameters(int size, float parameter) override;
    static bool UnitTest(UnitTestRecorder& recorder);
};

/// Four-term Blackman-Harris window (0.35875, 0.48829, 0.14128, 0.01168); RBW factor 1.9.
class OMBREL_API BlackmanHarrisWindow : public Window {
  public:
    BlackmanHarrisWindow();
    explicit BlackmanHarrisWindow(int size);
    ~BlackmanHarrisWindow() override;
    void SetParameters(int size) override;
    /// The parameter is not used: stored as 0, then SetParameters(size).
    void SetParameters(int size, float parameter) override;
    static bool UnitTest(UnitTestRecorder& recorder);
};

/// Five-term flat-top window for amplitude accuracy; its ends are slightly negative (about
/// -0.00035 before normalisation). RBW factor 3.77.
class OMBREL_API FlatTopWindow : public Window {
  public:
    FlatTopWindow();
    explicit FlatTopWindow(int size);
    ~FlatTopWindow() override;
    void SetParameters(int size) override;
    /// The parameter is not used: stored as 0, then SetParameters(size).
    void SetParameters(int size, float parameter) override;
    static bool UnitTest(UnitTestRecorder& recorder);
};

/// Gaussian window e^(-2 alpha^2 t^2), t = (i - (N-1)/2) / N; default alpha 3.5, RBW factor 1.86
/// (not recomputed for another alpha).
class OMBREL_API GaussWindow : public Window {
  public:
    /// Empty window with alpha = 3.5.
    GaussWindow();
    explicit GaussWindow(int size);
    ~GaussWindow() override;
    /// alpha = 3.5, then recompute.
    void SetParameters(int size) override;
    /// Recompute with alpha = `parameter`.
    void SetParameters(int size, float parameter) override;
    static bool UnitTest(UnitTestRecorder& recorder);
};

/// Kaiser window I0(beta sqrt(1 - (2n/(N-1) - 1)^2)) / I0(beta). Large beta beyond the
/// single-precision range of I0 is computed in double precision.
class OMBREL_API KaiserWindow : public Window {
  public:
    /// Standard mode: beta 16.71, RBW factor 2.2292; then computes `size` points.
    explicit KaiserWindow(int size);
    /// Computes with the given beta; mode and RBW factor keep the base values (standard mode,
    /// factor 0.89), deliberately: the factor belongs to the two named modes only.
    KaiserWindow(int size, float beta);
    /// Mode KAISER_MODE_NARROW: beta 14.6, factor 2.0859; any other mode: beta 16.71, factor
    /// 2.2292. Then computes `size` points.
    KaiserWindow(int size, KaiserWindowModeTag mode);
    /// Stores mode and factor only; beta and the coefficients are set by SetParameters.
    explicit KaiserWindow(KaiserWindowModeTag mode);
    ~KaiserWindow() override;

    /// Standard mode, beta 16.71, factor 2.2292, then recompute.
    void SetParameters(int size) override;
    /// Recompute with beta = `parameter`; mode and factor unchanged.
    void SetParameters(int size, float parameter) override;
    /// Mode, beta and factor as the mode constructor sets them, then recompute.
    void SetParameters(int size, KaiserWindowModeTag mode);

    KaiserWindowModeTag GetMode() const { return mode; }
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void SetMode(KaiserWindowModeTag m);
    void Compute();

    KaiserWindowModeTag mode;
};

}  // namespace Kivo
