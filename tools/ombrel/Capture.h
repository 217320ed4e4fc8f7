// Raw capture files of interleaved complex samples, as SDR tools write them:
//   cf32  float32 I, float32 Q (native little-endian), full scale 1.0;
//   cs16  int16 I, int16 Q, scaled by 1/fullScale (default 32768) into the float samples.
#pragma once

#include <ombrel/math/Types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace ombrel_tool {

enum class SampleFormat { CF32, CS16 };

/// "cf32" / "cs16"; throws UsageError otherwise.
SampleFormat ParseSampleFormat(const std::string& name);
/// The format from a file name's extension (.cf32/.cs16, also .cfile/.fc32 for cf32), or
/// `fallback` when the extension says nothing.
SampleFormat FormatFromExtension(const std::string& path, SampleFormat fallback);
int BytesPerSample(SampleFormat f);

/// Sequential reader in large blocks. Throws InputError for a file that cannot be opened or
/// whose size is not a whole number of samples.
class CaptureReader {
  public:
    CaptureReader(const std::string& path, SampleFormat format, double fullScale);
    ~CaptureReader();
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;

    long long SampleCount() const { return samples_; }
    /// Moves to sample `index` (0 <= index <= SampleCount()).
    void Seek(long long index);
    /// Reads up to n samples into out; returns how many were read (fewer only at the end).
    int Read(Kivo::Cplx32* out, int n);

  private:
    std::string path_;
    SampleFormat format_;
    float scale_;
    FILE* file_;
    long long samples_;
    std::vector<short> staging_;
};

/// Writes samples in the given format; cs16 values are scaled by fullScale, rounded and
/// saturated to the int16 range.
void WriteSamples(FILE* f, SampleFormat format, double fullScale, const Kivo::Cplx32* samples,
                  int n);

}  // namespace ombrel_tool
