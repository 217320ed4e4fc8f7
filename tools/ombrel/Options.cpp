#include "Options.h"

#include <ombrel/dsp/FFT.h>
#include <ombrel/math/KivoException.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ombrel_tool {

Options::Options(int argc, char** argv, const std::vector<std::string>& valued,
                 const std::vector<std::string>& flags) {
    auto known = [](const std::vector<std::string>& list, const std::string& n) {
        return std::find(list.begin(), list.end(), n) != list.end();
    };
    for (int i = 0; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg.rfind("--", 0) != 0) throw UsageError("unexpected argument '" + arg + "'");
        std::string name = arg.substr(2);
        std::string value;
        bool inlineValue = false;
        if (const auto eq = name.find('='); eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            inlineValue = true;
        }
        if (known(flags, name)) {
            if (inlineValue) throw UsageError("option --" + name + " takes no value");
            values_[name].push_back("1");
        } else if (known(valued, name)) {
            if (!inlineValue) {
                if (i + 1 >= argc) throw UsageError("option --" + name + " needs a value");
                value = argv[++i];
            }
            values_[name].push_back(value);
        } else {
            throw UsageError("unknown option --" + name);
        }
    }
}

std::string Options::Get(const std::string& name, const std::string& fallback) const {
    const auto it = values_.find(name);
    return it == values_.end() ? fallback : it->second.back();
}

std::vector<std::string> Options::All(const std::string& name) const {
    const auto it = values_.find(name);
    return it == values_.end() ? std::vector<std::string>{} : it->second;
}

double Options::GetDouble(const std::string& name, double fallback) const {
    return Has(name) ? ParseDouble(Get(name, ""), "--" + name) : fallback;
}

long long Options::GetInt(const std::string& name, long long fallback) const {
    return Has(name) ? ParseInt(Get(name, ""), "--" + name) : fallback;
}

double ParseDouble(const std::string& text, const std::string& what) {
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        throw UsageError(what + ": '" + text + "' is not a number");
    return v;
}

long long ParseInt(const std::string& text, const std::string& what) {
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        throw UsageError(what + ": '" + text + "' is not a whole number");
    return v;
}

AtomicOutput::AtomicOutput(std::string path)
    : path_(std::move(path)), partial_(path_ + ".partial"), file_(nullptr) {
    file_ = std::fopen(partial_.c_str(), "wb");
    if (!file_)
        throw InputError("cannot write '" + path_ + "': " + std::string(std::strerror(errno)));
}

AtomicOutput::~AtomicOutput() {
    if (file_) {
        std::fclose(file_);
        std::remove(partial_.c_str());
    }
}

namespace {
// Puts `from` in place of the regular file `to`. An exchange of the two names followed by the
// removal of the old file does the same as rename(from, to), equally atomically for a reader of
// `to`, but rename over an existing file makes ext4 write the new data out to disk before it
// returns (its safeguard for programs that replace files without fsync), some tens of ms for a
// large trace. Anything but an existing regular file falls back to rename.
bool ReplaceFile(const std::string& from, const std::string& to) {
    struct stat st {};
    if (lstat(to.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
        renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) {
        std::remove(from.c_str());  // the old file, now under the temporary name
        return true;
    }
    return std::rename(from.c_str(), to.c_str()) == 0;
}
}  // namespace

void AtomicOutput::Commit() {
    const bool writeFailed = std::ferror(file_) != 0;
    const bool closeFailed = std::fclose(file_) != 0;
    file_ = nullptr;
    if (writeFailed || closeFailed || !ReplaceFile(partial_, path_)) {
        std::remove(partial_.c_str());
        throw InputError("cannot write '" + path_ + "'");
    }
}

namespace {
std::string DefaultWisdomPath() {
    std::string base;
    if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg) {
        base = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        base = std::string(home) + "/.cache";
    } else {
        return {};
    }
    return base + "/ombrel/fftw-wisdom";
}

void MakeParentDirectories(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0755);  // existing directories are fine
}
}  // namespace

WisdomCache::WisdomCache(const std::string& explicitPath, bool disabled)
    : path_(disabled               ? std::string()
            : explicitPath.empty() ? DefaultWisdomPath()
                                   : explicitPath) {
    if (path_.empty()) return;
    try {
        Kivo::KivoImportFFTWisdom(path_.c_str());
    } catch (const Kivo::KivoException&) {
        // No cache yet, or not one we can use: plans are measured and the file rewritten.
    }
}

WisdomCache::~WisdomCache() {
    if (exported_) std::remove(partial_.c_str());
}

void WisdomCache::Export() {
    if (path_.empty() || exported_) return;
    MakeParentDirectories(path_);
    partial_ = path_ + ".partial." + std::to_string(getpid());
    try {
        Kivo::KivoExportFFTWisdom(partial_.c_str());
        exported_ = true;
    } catch (const Kivo::KivoException&) {
        std::remove(partial_.c_str());
    }
}

void WisdomCache::Save() {
    Export();
    if (!exported_) return;
    if (std::rename(partial_.c_str(), path_.c_str()) != 0) std::remove(partial_.c_str());
    exported_ = false;
}

}  // namespace ombrel_tool
