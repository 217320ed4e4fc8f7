#include "TraceJob.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace ombrel_tool {

namespace {

// Below this many traces, each trace is split into parts so that the threads still have work
// of about equal size to share. The split depends on the job only, never on the number of
// threads: the sums of the parts are added in the same order whatever ran them.
constexpr long long kMinTasks = 16;
// A task of whole traces covers at least this many samples, so that tiny traces do not cost a
// hand-over each.
constexpr long long kSamplesPerTask = 1 << 18;
// The partial sums of a split trace are kept until its last part is done: bounded memory.
constexpr long long kMaxPartBins = 1 << 22;

class Runner {
  public:
    explicit Runner(const TraceJob& job) : job_(job) {
        if (!job.computer) throw std::invalid_argument("TraceJob without a computer");
        const long long n = job.settings.size;
        perTrace_ = job.average * n;
        if (job.traces >= kMinTasks || job.average == 1) {
            parts_ = 1;
            tracesPerTask_ =
                std::clamp(kSamplesPerTask / perTrace_, 1LL, std::max(1LL, job.traces / kMinTasks));
            tasks_ = (job.traces + tracesPerTask_ - 1) / tracesPerTask_;
        } else {
            const long long wanted = (kMinTasks + job.traces - 1) / job.traces;
            parts_ = std::max(1LL, std::min({wanted, job.average, kMaxPartBins / n}));
            tracesPerTask_ = 1;
            tasks_ = job.traces * parts_;
        }
    }

    TraceJobResult Run() {
        TraceComputer& mine = *job_.computer;
        const std::string header = CsvFormatter(job_.settings.linear, job_.traces > 1).Header();
        job_.write(header.data(), header.size());
        const long long threads = std::clamp<long long>(job_.threads, 1, tasks_);
        std::vector<std::thread> helpers;
        for (long long i = 1; i < threads; ++i) {
            try {
                helpers.emplace_back([this, &mine] {
                    try {
                        TraceComputer computer(job_.settings, mine);
                        Work(computer);
                    } catch (...) {
                        Fail();
                    }
                });
            } catch (const std::system_error&) {
                break;  // fewer threads than asked: the others share the work
            }
        }
        try {
            Work(mine);
        } catch (...) {
            Fail();
        }
        for (std::thread& t : helpers)
            t.join();
        if (error_) std::rethrow_exception(error_);
        result_.rbwHz = mine.RbwHz();
        return std::move(result_);
    }

  private:
    struct SplitTrace {
        std::vector<PowerSums> parts;
        long long done = 0;
    };

    void Fail() {
        std::lock_guard<std::mutex> lock(errorMutex_);
        if (!error_) error_ = std::current_exception();
        failed_ = true;
    }

    void Work(TraceComputer& computer) {
        CsvFormatter csv(job_.settings.linear, job_.traces > 1);
        std::vector<unsigned char> staging;
        TextBuffer text;
        for (;;) {
            if (failed_) return;
            const long long task = next_++;
            if (task >= tasks_) return;
            if (parts_ == 1) {
                const long long t0 = task * tracesPerTask_;
                const long long t1 = std::min(job_.traces, t0 + tracesPerTask_);
                for (long long t = t0; t < t1; ++t) {
                    AddBlocks(computer, staging, t, 0, job_.average);
                    Finish(computer, csv, text, t);
                }
                Publish(task, text);
                continue;
            }
            const long long t = task / parts_;
            const long long part = task % parts_;
            const long long b0 = part * job_.average / parts_;
            const long long b1 = (part + 1) * job_.average / parts_;
            AddBlocks(computer, staging, t, b0, b1);
            std::vector<PowerSums> all;
            {
                PowerSums sums;
                computer.TakeSums(sums);
                std::lock_guard<std::mutex> lock(splitMutex_);
                SplitTrace& split = split_[t];
                if (split.parts.empty()) split.parts.resize(static_cast<size_t>(parts_));
                split.parts[static_cast<size_t>(part)] = std::move(sums);
                if (++split.done == parts_) {
                    all = std::move(split.parts);
                    split_.erase(t);
                }
            }
            if (all.empty()) continue;  // another thread finishes this trace
            for (const PowerSums& p : all)
                computer.AddSums(p);
            Finish(computer, csv, text, t);
            Publish(t, text);
        }
    }

    void AddBlocks(TraceComputer& computer, std::vector<unsigned char>& staging, long long trace,
                   long long b0, long long b1) {
        const int n = job_.settings.size;
        const bool cf32 = job_.capture->Format() == SampleFormat::CF32;
        const long long batch = computer.BatchBlocks();
        for (long long b = b0; b < b1; b += batch) {
            const long long count = std::min(batch, b1 - b);
            const long long index = job_.firstSample + trace * perTrace_ + b * n;
            const void* raw = job_.capture->Samples(index, count * n, staging);
            if (cf32)
                computer.Accumulate(static_cast<const Kivo::Cplx32*>(raw), count);
            else
                computer.AccumulateCs16(static_cast<const short*>(raw), count, job_.scale);
        }
    }

    void Finish(TraceComputer& computer, CsvFormatter& csv, TextBuffer& text, long long t) {
        Trace trace = computer.Finish();
        csv.Append(text, trace, t);
        if (t == 0 && job_.keepFirst) result_.first = std::move(trace);
    }

    // Hands over `text` (the rows of output unit `index`). The thread whose unit is next in
    // order writes it straight from its buffer, then every following unit that is ready, while
    // the others go on computing; a unit that is early waits in its buffer, and the thread takes
    // a spare one. Buffers are reused, so that their pages are not cleared again and again.
    void Publish(long long index, TextBuffer& text) {
        std::unique_lock<std::mutex> lock(outMutex_);
        if (writing_ || index != nextOut_) {
            ready_.emplace(index, std::move(text));
            text = TakeSpare();
            return;
        }
        writing_ = true;
        try {
            lock.unlock();
            job_.write(text.Data(), text.Size());
            text.Clear();
            lock.lock();
            ++nextOut_;
            for (auto it = ready_.find(nextOut_); it != ready_.end(); it = ready_.find(nextOut_)) {
                TextBuffer unit = std::move(it->second);
                ready_.erase(it);
                lock.unlock();
                job_.write(unit.Data(), unit.Size());
                unit.Clear();
                lock.lock();
                spare_.push_back(std::move(unit));
                ++nextOut_;
            }
        } catch (...) {
            if (!lock.owns_lock()) lock.lock();
            writing_ = false;
            throw;
        }
        writing_ = false;
    }

    TextBuffer TakeSpare() {
        if (spare_.empty()) return TextBuffer();
        TextBuffer b = std::move(spare_.back());
        spare_.pop_back();
        return b;
    }

    const TraceJob& job_;
    long long perTrace_ = 0;
    long long parts_ = 1;
    long long tracesPerTask_ = 1;
    long long tasks_ = 0;

    std::atomic<long long> next_{0};
    std::atomic<bool> failed_{false};
    std::mutex errorMutex_;
    std::exception_ptr error_;

    std::mutex splitMutex_;
    std::map<long long, SplitTrace> split_;

    std::mutex outMutex_;
    std::map<long long, TextBuffer> ready_;
    std::vector<TextBuffer> spare_;
    long long nextOut_ = 0;
    bool writing_ = false;

    TraceJobResult result_;
};

}  // namespace

TraceJobResult RunTraceJob(const TraceJob& job) {
    Runner runner(job);
    return runner.Run();
}

int ProcessorCount() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0) {
        const int n = CPU_COUNT(&set);
        if (n > 0) return n;
    }
    const unsigned n = std::thread::hardware_concurrency();
    return n > 0 ? static_cast<int>(n) : 1;
}

}  // namespace ombrel_tool
