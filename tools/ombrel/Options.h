// Small helpers shared by the subcommands: option parsing with one clear error line, and output
// files that appear only when complete.
#pragma once

#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace ombrel_tool {

/// A bad command line or input; main prints "ombrel <cmd>: <what>" and exits with status 2
/// (usage) or 1 (input/output failure).
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// "--name value" and "--name=value" options; repeated options keep every value in order;
/// flags listed in `flags` take no value.
class Options {
  public:
    Options(int argc, char** argv, const std::vector<std::string>& valued,
            const std::vector<std::string>& flags);
    bool Has(const std::string& name) const { return values_.count(name) != 0; }
    std::string Get(const std::string& name, const std::string& fallback) const;
    std::vector<std::string> All(const std::string& name) const;
    double GetDouble(const std::string& name, double fallback) const;
    long long GetInt(const std::string& name, long long fallback) const;

  private:
    std::map<std::string, std::vector<std::string>> values_;
};

double ParseDouble(const std::string& text, const std::string& what);
long long ParseInt(const std::string& text, const std::string& what);

/// Writes to "<path>.partial" and renames over `path` on Commit, so that a failure part-way
/// never leaves a truncated output behind (the partial file is removed on destruction).
class AtomicOutput {
  public:
    explicit AtomicOutput(std::string path);
    ~AtomicOutput();
    AtomicOutput(const AtomicOutput&) = delete;
    AtomicOutput& operator=(const AtomicOutput&) = delete;
    FILE* File() const { return file_; }
    void Commit();

  private:
    std::string path_;
    std::string partial_;
    FILE* file_;
};

/// FFTW planning knowledge kept between runs of the program, so that only the first run at a
/// transform length pays for measuring plans (about 0.1 to 2 s per length). The file is
/// `--wisdom FILE` if given, else $XDG_CACHE_HOME/ombrel/fftw-wisdom or
/// ~/.cache/ombrel/fftw-wisdom; `--no-wisdom` disables it. A missing or unreadable file is
/// ignored (plans are measured as usual); the file is rewritten, under a temporary name and
/// renamed, when the command succeeds. Failures of the cache never fail the command.
class WisdomCache {
  public:
    WisdomCache(const std::string& explicitPath, bool disabled);
    /// Removes what Export wrote if Save did not put it in place.
    ~WisdomCache();
    WisdomCache(const WisdomCache&) = delete;
    WisdomCache& operator=(const WisdomCache&) = delete;
    /// Writes what this run has learned under a temporary name. It may run on another thread
    /// while transforms are computed, once every plan the command needs has been made.
    void Export();
    /// Puts what Export wrote (exporting first if needed) in place of the cache file.
    void Save();

  private:
    std::string path_;
    std::string partial_;
    bool exported_ = false;
};

}  // namespace ombrel_tool
