#include "Capture.h"

#include "Options.h"

#include <cerrno>
#include <cmath>
#include <cstring>

namespace ombrel_tool {

SampleFormat ParseSampleFormat(const std::string& name) {
    if (name == "cf32") return SampleFormat::CF32;
    if (name == "cs16") return SampleFormat::CS16;
    throw UsageError("unknown sample format '" + name + "' (use cf32 or cs16)");
}

SampleFormat FormatFromExtension(const std::string& path, SampleFormat fallback) {
    const auto dot = path.rfind('.');
    if (dot == std::string::npos) return fallback;
    const std::string ext = path.substr(dot + 1);
    if (ext == "cf32" || ext == "fc32" || ext == "cfile") return SampleFormat::CF32;
    if (ext == "cs16" || ext == "sc16") return SampleFormat::CS16;
    return fallback;
}

int BytesPerSample(SampleFormat f) {
    return f == SampleFormat::CF32 ? 8 : 4;
}

CaptureReader::CaptureReader(const std::string& path, SampleFormat format, double fullScale)
    : path_(path),
      format_(format),
      scale_(static_cast<float>(1.0 / fullScale)),
      file_(nullptr),
      samples_(0) {
    file_ = std::fopen(path.c_str(), "rb");
    if (!file_) throw InputError("cannot open '" + path + "': " + std::strerror(errno));
    // No large stdio buffer: the reads are megabytes each, and a request smaller than the stdio
    // buffer would be copied twice (file to buffer to vector) instead of read straight in.
    if (std::fseek(file_, 0, SEEK_END) != 0) throw InputError("cannot read '" + path + "'");
    const long long bytes = std::ftell(file_);
    if (bytes < 0) throw InputError("cannot read '" + path + "': not a regular file");
    std::rewind(file_);
    const int per = BytesPerSample(format);
    if (bytes % per != 0)
        throw InputError("'" + path + "' holds " + std::to_string(bytes) +
                         " bytes, not a whole number of " +
                         (format == SampleFormat::CF32 ? "cf32" : "cs16") + " samples (" +
                         std::to_string(per) + " bytes each)");
    samples_ = bytes / per;
}

CaptureReader::~CaptureReader() {
    if (file_) std::fclose(file_);
}

void CaptureReader::Seek(long long index) {
    if (index < 0 || index > samples_ ||
        std::fseek(file_, index * BytesPerSample(format_), SEEK_SET) != 0)
        throw InputError("cannot seek to sample " + std::to_string(index) + " of '" + path_ + "'");
}

int CaptureReader::Read(Kivo::Cplx32* out, int n) {
    if (n <= 0) return 0;
    if (format_ == SampleFormat::CF32) {
        // The file's layout is exactly the vector's: read straight into it.
        const size_t got = std::fread(out, sizeof(Kivo::Cplx32), static_cast<size_t>(n), file_);
        if (got < static_cast<size_t>(n) && std::ferror(file_))
            throw InputError("error reading '" + path_ + "'");
        return static_cast<int>(got);
    }
    staging_.resize(static_cast<size_t>(n) * 2);
    const size_t got =
        std::fread(staging_.data(), 2 * sizeof(short), static_cast<size_t>(n), file_);
    if (got < static_cast<size_t>(n) && std::ferror(file_))
        throw InputError("error reading '" + path_ + "'");
    for (size_t i = 0; i < got; ++i) {
        out[i].re = static_cast<float>(staging_[2 * i]) * scale_;
        out[i].im = static_cast<float>(staging_[2 * i + 1]) * scale_;
    }
    return static_cast<int>(got);
}

namespace {
short ToInt16(float v, double fullScale) {
    const double x = std::nearbyint(static_cast<double>(v) * fullScale);
    if (std::isnan(x)) return 0;
    if (x > 32767.0) return 32767;
    if (x < -32768.0) return -32768;
    return static_cast<short>(x);
}
}  // namespace

void WriteSamples(FILE* f, SampleFormat format, double fullScale, const Kivo::Cplx32* samples,
                  int n) {
    if (format == SampleFormat::CF32) {
        std::fwrite(samples, sizeof(Kivo::Cplx32), static_cast<size_t>(n), f);
        return;
    }
    std::vector<short> buf(static_cast<size_t>(n) * 2);
    for (int i = 0; i < n; ++i) {
        buf[2 * i] = ToInt16(samples[i].re, fullScale);
        buf[2 * i + 1] = ToInt16(samples[i].im, fullScale);
    }
    std::fwrite(buf.data(), sizeof(short), buf.size(), f);
}

}  // namespace ombrel_tool
