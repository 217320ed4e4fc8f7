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

/// A capture file opened for reading blocks of samples from any thread (positioned reads, no
/// shared file position). Throws InputError for a file that cannot be opened or whose size is
/// not a whole number of samples.
class CaptureFile {
  public:
    CaptureFile(const std::string& path, SampleFormat format);
    ~CaptureFile();
    CaptureFile(const CaptureFile&) = delete;
    CaptureFile& operator=(const CaptureFile&) = delete;

    long long SampleCount() const { return samples_; }
    SampleFormat Format() const { return format_; }
    /// Reads samples [index, index + n), as stored in the file, into `staging` (resized) and
    /// returns its data. Throws InputError when the file cannot be read or ends early. Safe to
    /// call from several threads, each with its own staging.
    ///
    /// Reading into a small buffer that stays in cache costs the same here as mapping the file
    /// (the copy replaces the page faults and the unmapping of a mapping), and a file that is
    /// cut short while it is read gives an error instead of a SIGBUS.
    const void* Samples(long long index, long long n, std::vector<unsigned char>& staging) const;

  private:
    std::string path_;
    SampleFormat format_;
    int fd_;
    long long samples_;
};

/// Writes samples in the given format; cs16 values are scaled by fullScale, rounded and
/// saturated to the int16 range.
void WriteSamples(FILE* f, SampleFormat format, double fullScale, const Kivo::Cplx32* samples,
                  int n);

}  // namespace ombrel_tool
