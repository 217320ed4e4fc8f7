#include "Capture.h"

#include "Options.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

CaptureFile::CaptureFile(const std::string& path, SampleFormat format)
    : path_(path), format_(format), fd_(-1), samples_(0) {
    fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) throw InputError("cannot open '" + path + "': " + std::strerror(errno));
    struct stat st {};
    if (fstat(fd_, &st) != 0 || S_ISDIR(st.st_mode)) {
        const int e = S_ISDIR(st.st_mode) ? EISDIR : errno;
        close(fd_);
        throw InputError("cannot read '" + path + "': " + std::strerror(e));
    }
    // The size from the end offset: the same for a regular file, also right for a block device.
    const off_t bytes = lseek(fd_, 0, SEEK_END);
    if (bytes < 0 || !(S_ISREG(st.st_mode) || S_ISBLK(st.st_mode))) {
        close(fd_);
        throw InputError("cannot read '" + path + "': not a regular file");
    }
    const int per = BytesPerSample(format);
    if (bytes % per != 0) {
        close(fd_);
        throw InputError("'" + path + "' holds " + std::to_string(bytes) +
                         " bytes, not a whole number of " +
                         (format == SampleFormat::CF32 ? "cf32" : "cs16") + " samples (" +
                         std::to_string(per) + " bytes each)");
    }
    samples_ = bytes / per;
    // Threads read their blocks one after another from a few places at once; a larger
    // read-ahead keeps a capture that is not yet in memory streaming. Only advice.
    posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
}

CaptureFile::~CaptureFile() {
    close(fd_);
}

const void* CaptureFile::Samples(long long index, long long n,
                                 std::vector<unsigned char>& staging) const {
    if (index < 0 || n < 0 || index + n > samples_) throw InputError("'" + path_ + "' ended early");
    const long long per = BytesPerSample(format_);
    staging.resize(static_cast<size_t>(n * per));
    size_t done = 0;
    while (done < staging.size()) {
        const ssize_t got = pread(fd_, staging.data() + done, staging.size() - done,
                                  static_cast<off_t>(index * per + static_cast<long long>(done)));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw InputError("error reading '" + path_ + "': " + std::strerror(errno));
        if (got == 0) throw InputError("'" + path_ + "' ended early");
        done += static_cast<size_t>(got);
    }
    return staging.data();
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
