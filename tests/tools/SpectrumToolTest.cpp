// `ombrel synth`, `ombrel spectrum` and `ombrel demo` end to end.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Result {
    int status;
    std::string out;  // standard output
    std::string err;  // standard error
};

class ToolTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char tmpl[] = "/tmp/ombrel-tool-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
    }
    void TearDown() override { std::system(("rm -rf '" + dir + "'").c_str()); }

    std::string Path(const std::string& name) const { return dir + "/" + name; }

    Result Run(const std::string& args, const std::string& environment = "") const {
        const std::string errPath = Path("stderr.txt");
        const std::string cmd = "cd '" + dir + "' && " + environment + " " + OMBREL_TOOL_PATH +
                                " " + args + " 2>'" + errPath + "'";
        Result r{-1, {}, {}};
        FILE* p = popen(cmd.c_str(), "r");
        if (!p) return r;
        char buf[65536];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, p)) > 0)
            r.out.append(buf, n);
        const int st = pclose(p);
        r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
        std::ifstream e(errPath);
        std::stringstream ss;
        ss << e.rdbuf();
        r.err = ss.str();
        return r;
    }

    bool Exists(const std::string& name) const {
        struct stat st {};
        return stat(Path(name).c_str(), &st) == 0;
    }
    long long SizeOf(const std::string& name) const {
        struct stat st {};
        return stat(Path(name).c_str(), &st) == 0 ? st.st_size : -1;
    }

    std::string dir;
};

struct Row {
    double f;
    double level;
};

std::vector<Row> ParseCsv(const std::string& text, std::string* header = nullptr) {
    std::istringstream in(text);
    std::string line;
    std::vector<Row> rows;
    std::getline(in, line);
    if (header) *header = line;
    while (std::getline(in, line)) {
        Row r{};
        if (std::sscanf(line.c_str(), "%lf,%lf", &r.f, &r.level) == 2) rows.push_back(r);
    }
    return rows;
}

std::string ReadFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

// Rows of a several-trace CSV: trace index, frequency, level.
struct TraceRow {
    long long trace;
    double f;
    double level;
};

std::vector<TraceRow> ParseTraces(const std::string& text) {
    std::istringstream in(text);
    std::string line;
    std::vector<TraceRow> rows;
    std::getline(in, line);
    while (std::getline(in, line)) {
        TraceRow r{};
        if (std::sscanf(line.c_str(), "%lld,%lf,%lf", &r.trace, &r.f, &r.level) == 3)
            rows.push_back(r);
    }
    return rows;
}

// Interleaved I/Q of a capture file as floats: cf32 as stored, cs16 scaled like the tool.
std::vector<float> ReadCapture(const std::string& path, bool cs16, double fullScale) {
    const std::string bytes = ReadFile(path);
    std::vector<float> x;
    if (!cs16) {
        x.resize(bytes.size() / sizeof(float));
        std::memcpy(x.data(), bytes.data(), x.size() * sizeof(float));
        return x;
    }
    std::vector<short> s(bytes.size() / sizeof(short));
    std::memcpy(s.data(), bytes.data(), s.size() * sizeof(short));
    const float scale = static_cast<float>(1.0 / fullScale);
    for (short v : s)
        x.push_back(static_cast<float>(v) * scale);
    return x;
}

// Mean power per bin over `blocks` blocks of n samples from sample `first`, uniform window
// (1/n each), by direct summation in long double; zero-centred bin order.
std::vector<double> DirectMeanPower(const std::vector<float>& x, long long first, int n,
                                    int blocks) {
    const long double pi = 3.141592653589793238462643383279502884L;
    std::vector<double> power(static_cast<size_t>(n), 0.0);
    for (int b = 0; b < blocks; ++b) {
        const size_t base = static_cast<size_t>(first + static_cast<long long>(b) * n);
        for (int k = 0; k < n; ++k) {
            long double re = 0, im = 0;
            for (int t = 0; t < n; ++t) {
                const long double a = -2 * pi * static_cast<long double>((k * t) % n) / n;
                const long double xr = x[2 * (base + t)], xi = x[2 * (base + t) + 1];
                re += (xr * std::cos(a) - xi * std::sin(a)) / n;
                im += (xr * std::sin(a) + xi * std::cos(a)) / n;
            }
            const int i = (k + n / 2) % n;  // centred index of bin k
            power[static_cast<size_t>(i)] += static_cast<double>((re * re + im * im) / blocks);
        }
    }
    return power;
}

size_t Peak(const std::vector<Row>& rows) {
    size_t best = 0;
    for (size_t i = 1; i < rows.size(); ++i)
        if (rows[i].level > rows[best].level) best = i;
    return best;
}

}  // namespace

TEST_F(ToolTest, SynthThenSpectrumFindsTheToneAtItsFrequencyAndLevel) {
    // Bin spacing 1 MHz / 1024; the tone sits exactly on bin 100.
    const double rate = 1.024e6, center = 433.92e6, offset = 100e3;
    ASSERT_EQ(Run("synth --out tone.cf32 --rate 1024000 --samples 4096 --tone 100000:-20").status,
              0);
    EXPECT_EQ(SizeOf("tone.cf32"), 4096 * 8);
    const Result r = Run("spectrum tone.cf32 --rate 1024000 --center 433.92e6 --size 1024");
    ASSERT_EQ(r.status, 0) << r.err;
    std::string header;
    const auto rows = ParseCsv(r.out, &header);
    EXPECT_EQ(header, "frequency_hz,level_db");
    ASSERT_EQ(rows.size(), 1024u);
    EXPECT_NEAR(rows.front().f, center - rate / 2, 1e-3);
    EXPECT_NEAR(rows[512].f, center, 1e-3);
    const size_t p = Peak(rows);
    EXPECT_EQ(p, 512u + 100u);
    EXPECT_NEAR(rows[p].f, center + offset, 1e-3);
    EXPECT_NEAR(rows[p].level, -20.0, 0.01);
}

TEST_F(ToolTest, Cs16WithFullScale) {
    ASSERT_EQ(
        Run("synth --out t.cs16 --rate 1e6 --samples 2048 --tone -250000:-6 --full-scale 2048")
            .status,
        0);
    EXPECT_EQ(SizeOf("t.cs16"), 2048 * 4);
    const Result r =
        Run("spectrum t.cs16 --rate 1e6 --size 1024 --full-scale 2048 --window uniform");
    ASSERT_EQ(r.status, 0) << r.err;
    const auto rows = ParseCsv(r.out);
    const size_t p = Peak(rows);
    EXPECT_EQ(p, 512u - 256u);
    EXPECT_NEAR(rows[p].level, -6.0, 0.05);  // 12-bit quantisation
}

TEST_F(ToolTest, AverageIsThePowerMeanOfConsecutiveBlocks) {
    ASSERT_EQ(Run("synth --out n.cf32 --rate 1e6 --samples 4096 --noise -60 --seed 7").status, 0);
    const Result avg = Run("spectrum n.cf32 --rate 1e6 --size 256 --average 4 --unit linear");
    ASSERT_EQ(avg.status, 0) << avg.err;
    const auto a = ParseCsv(avg.out);
    std::vector<double> power(256, 0.0);
    for (int b = 0; b < 4; ++b) {
        const Result one = Run("spectrum n.cf32 --rate 1e6 --size 256 --unit linear --offset " +
                               std::to_string(b * 256));
        ASSERT_EQ(one.status, 0) << one.err;
        const auto rows = ParseCsv(one.out);
        ASSERT_EQ(rows.size(), 256u);
        for (int k = 0; k < 256; ++k)
            power[k] += rows[k].level * rows[k].level / 4.0;
    }
    ASSERT_EQ(a.size(), 256u);
    for (int k = 0; k < 256; ++k)
        ASSERT_NEAR(a[k].level, std::sqrt(power[k]), 1e-5 * std::sqrt(power[k]) + 1e-9) << k;
    // In dB the average is converted once: 10 log10 of the mean power.
    const Result db = Run("spectrum n.cf32 --rate 1e6 --size 256 --average 4");
    const auto d = ParseCsv(db.out);
    for (int k = 0; k < 256; ++k)
        ASSERT_NEAR(d[k].level, 10.0 * std::log10(power[k]), 2e-3) << k;
}

TEST_F(ToolTest, SeveralTracesAndDetectors) {
    ASSERT_EQ(
        Run("synth --out n.cf32 --rate 1e6 --samples 8192 --noise -70 --tone 1000:-30").status, 0);
    const Result all = Run("spectrum n.cf32 --rate 1e6 --size 1024 --average 2 --traces all");
    ASSERT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(all.out.rfind("trace,frequency_hz,level_db\n", 0), 0u);
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 1 + 4 * 1024);

    const Result full = Run("spectrum n.cf32 --rate 1e6 --size 1024 --unit linear");
    const auto lin = ParseCsv(full.out);
    for (const char* det : {"ave", "max", "min", "rms", "sample"}) {
        const Result r = Run(std::string("spectrum n.cf32 --rate 1e6 --size 1024 --unit linear "
                                         "--points 100 --detector ") +
                             det);
        ASSERT_EQ(r.status, 0) << det << r.err;
        const auto rows = ParseCsv(r.out);
        ASSERT_EQ(rows.size(), 102u) << det;  // factor 1024/100 = 10 -> 102 buckets
        // Bucket 3 covers bins 30..39.
        double mx = -1, mn = 1e30, sum = 0, sq = 0;
        for (int k = 30; k < 40; ++k) {
            mx = std::max(mx, lin[k].level);
            mn = std::min(mn, lin[k].level);
            sum += lin[k].level;
            sq += lin[k].level * lin[k].level;
        }
        const double expected = std::string(det) == "ave"   ? sum / 10
                                : std::string(det) == "max" ? mx
                                : std::string(det) == "min" ? mn
                                : std::string(det) == "rms" ? std::sqrt(sq / 10)
                                                            : lin[30].level;
        EXPECT_NEAR(rows[3].level, expected, 1e-6 + 1e-5 * expected) << det;
        const double f = std::string(det) == "sample" ? lin[30].f : (lin[30].f + lin[39].f) / 2;
        EXPECT_NEAR(rows[3].f, f, 1e-3) << det;
    }
    const Result mm = Run("spectrum n.cf32 --rate 1e6 --size 1024 --points 100 --detector maxmin");
    ASSERT_EQ(mm.status, 0);
    EXPECT_EQ(ParseCsv(mm.out).size(), 204u);
}

TEST_F(ToolTest, OutputFileAndPlot) {
    ASSERT_EQ(
        Run("synth --out t.cf32 --rate 25e6 --samples 16384 --tone 3e6:-10 --noise -150").status,
        0);
    const Result r =
        Run("spectrum t.cf32 --rate 25e6 --center 1e9 --size 4096 --window "
            "blackman-harris --out trace.csv --plot trace.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.out.empty());
    const auto rows = ParseCsv(ReadFile(Path("trace.csv")));
    EXPECT_EQ(rows.size(), 4096u);
    const std::string png = ReadFile(Path("trace.png"));
    ASSERT_GT(png.size(), 1000u);
    EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    EXPECT_FALSE(Exists("trace.csv.partial"));
    EXPECT_FALSE(Exists("trace.png.partial"));
}

TEST_F(ToolTest, MissingFile) {
    const Result r = Run("spectrum nothere.cf32 --rate 1e6 --out x.csv");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("cannot open 'nothere.cf32'"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_FALSE(Exists("x.csv"));
    EXPECT_FALSE(Exists("x.csv.partial"));
}

TEST_F(ToolTest, UnreadableFile) {
    ASSERT_EQ(mkdir(Path("adir.cf32").c_str(), 0755), 0);
    const Result r = Run("spectrum adir.cf32 --rate 1e6 --out x.csv");
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(r.err.empty());
    EXPECT_FALSE(Exists("x.csv"));
}

TEST_F(ToolTest, FileShorterThanOneBlockSaysHowManySamples) {
    ASSERT_EQ(Run("synth --out short.cf32 --rate 1e6 --samples 1000").status, 0);
    const Result r = Run("spectrum short.cf32 --rate 1e6 --size 4096 --out x.csv");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("holds 1000 samples, fewer than one block of 4096"), std::string::npos)
        << r.err;
    EXPECT_FALSE(Exists("x.csv"));
}

TEST_F(ToolTest, TruncatedSampleIsReported) {
    { std::ofstream(Path("odd.cf32"), std::ios::binary) << std::string(8 * 10 + 3, '\0'); }
    const Result r = Run("spectrum odd.cf32 --rate 1e6 --size 4");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("not a whole number of cf32 samples"), std::string::npos) << r.err;
}

TEST_F(ToolTest, BadNamesAndNumbersAreUsageErrors) {
    ASSERT_EQ(Run("synth --out t.cf32 --rate 1e6 --samples 4096").status, 0);
    struct Case {
        const char* args;
        const char* message;
    };
    const Case cases[] = {
        {"--rate 1e6 --window triangle", "unknown window 'triangle'"},
        {"--rate 1e6 --points 10 --detector peak", "unknown detector 'peak'"},
        {"--rate 0", "--rate must be positive"},
        {"--rate -5", "--rate must be positive"},
        {"--rate abc", "--rate: 'abc' is not a number"},
        {"--rate 1e6 --size 0", "--size must be positive"},
        {"--rate 1e6 --size -8", "--size must be positive"},
        {"--rate 1e6 --unit volts", "--unit must be db or linear"},
        {"--rate 1e6 --bogus 1", "unknown option --bogus"},
        {"--rate 1e6 --threads 0", "--threads must be positive"},
        {"--rate 1e6 --threads two", "--threads: 'two' is not a whole number"},
        {"", "--rate HZ is required"},
    };
    for (const Case& c : cases) {
        const Result r = Run(std::string("spectrum t.cf32 --out x.csv ") + c.args);
        EXPECT_EQ(r.status, 2) << c.args;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << ": " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_FALSE(Exists("x.csv")) << c.args;
    }
}

TEST_F(ToolTest, SynthNeedsItsArguments) {
    EXPECT_EQ(Run("synth --rate 1e6 --samples 10").status, 2);
    EXPECT_EQ(Run("synth --out a.cf32 --rate 1e6 --samples 10 --tone 5").status, 2);
    EXPECT_FALSE(Exists("a.cf32"));
}

TEST_F(ToolTest, DemoMeasuresItsKnownCapture) {
    const Result r = Run("demo");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("noise density: true -150.00 dB/Hz"), std::string::npos) << r.out;
    const auto rows = ParseCsv(ReadFile(Path("demo-trace.csv")));
    EXPECT_EQ(rows.size(), 16384u);
    const std::string png = ReadFile(Path("demo-trace.png"));
    ASSERT_GT(png.size(), 1000u);
    EXPECT_EQ(png.substr(1, 3), "PNG");
}

TEST_F(ToolTest, LongAverageMatchesDirectDftWhateverTheThreads) {
    // 40 blocks of 64 in one trace: the blocks are shared out in parts between the threads.
    ASSERT_EQ(Run("synth --out n.cf32 --rate 1e6 --samples 2560 --noise -90 --tone 125000:-10 "
                  "--seed 3")
                  .status,
              0);
    const std::string args = "spectrum n.cf32 --rate 1e6 --size 64 --average 40 --window uniform";
    const Result one = Run(args + " --unit linear --threads 1");
    ASSERT_EQ(one.status, 0) << one.err;
    for (const char* threads : {"2", "3", "16", "40"}) {
        const Result r = Run(args + " --unit linear --threads " + threads);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, one.out) << threads << " threads";
    }
    const auto x = ReadCapture(Path("n.cf32"), false, 1.0);
    const auto power = DirectMeanPower(x, 0, 64, 40);
    const auto lin = ParseCsv(one.out);
    ASSERT_EQ(lin.size(), 64u);
    for (int i = 0; i < 64; ++i)
        EXPECT_NEAR(lin[i].level, std::sqrt(power[i]), 2e-6 * std::sqrt(power[i]) + 1e-12) << i;
    const auto db = ParseCsv(Run(args + " --threads 2").out);
    ASSERT_EQ(db.size(), 64u);
    for (int i = 0; i < 64; ++i)
        EXPECT_NEAR(db[i].level, 10.0 * std::log10(power[i]), 2e-4) << i;
    EXPECT_EQ(Peak(lin), 32u + 8u);  // 125 kHz = 8 bins of 15.625 kHz
}

TEST_F(ToolTest, TracesAllIsTheSameWhateverTheThreads) {
    // 24 traces of 5 blocks of 64 (whole traces per thread) and a partial trace left over.
    ASSERT_EQ(Run("synth --out n.cf32 --rate 1e6 --samples 7700 --noise -90 --tone -200000:-20 "
                  "--seed 5")
                  .status,
              0);
    const std::string args =
        "spectrum n.cf32 --rate 1e6 --size 64 --average 5 --traces all --window uniform";
    const Result one = Run(args + " --threads 1 --out one.csv");
    ASSERT_EQ(one.status, 0) << one.err;
    const std::string text = ReadFile(Path("one.csv"));
    for (const char* threads : {"2", "3", "7"}) {
        const Result r = Run(args + " --threads " + threads);  // standard output this time
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, text) << threads << " threads";
    }
    const auto rows = ParseTraces(text);
    ASSERT_EQ(rows.size(), 24u * 64u);
    for (size_t j = 0; j < rows.size(); ++j)
        ASSERT_EQ(rows[j].trace, static_cast<long long>(j / 64)) << j;
    // Each trace is the one computed alone from its first sample on.
    for (int t : {0, 1, 13, 23}) {
        const Result alone =
            Run("spectrum n.cf32 --rate 1e6 --size 64 --average 5 --window uniform --offset " +
                std::to_string(t * 320));
        ASSERT_EQ(alone.status, 0) << alone.err;
        const auto a = ParseCsv(alone.out);
        ASSERT_EQ(a.size(), 64u);
        for (int i = 0; i < 64; ++i) {
            EXPECT_EQ(a[i].f, rows[t * 64 + i].f);
            EXPECT_NEAR(a[i].level, rows[t * 64 + i].level, 2.01e-4) << t << " " << i;
        }
    }
    // And against the direct sum, for the last trace.
    const auto x = ReadCapture(Path("n.cf32"), false, 1.0);
    const auto power = DirectMeanPower(x, 23 * 320, 64, 5);
    for (int i = 0; i < 64; ++i)
        EXPECT_NEAR(rows[23 * 64 + i].level, 10.0 * std::log10(power[i]), 2e-4) << i;
}

TEST_F(ToolTest, FewTracesSplitIntoPartsMatchDirectDft) {
    // 3 traces of 6 blocks: fewer traces than work units, so each trace is split too.
    ASSERT_EQ(Run("synth --out n.cf32 --rate 1e6 --samples 1152 --noise -30 --seed 9").status, 0);
    const std::string args =
        "spectrum n.cf32 --rate 1e6 --size 64 --average 6 --traces 3 --window uniform";
    const Result one = Run(args + " --threads 1");
    ASSERT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(Run(args + " --threads 4").out, one.out);
    const auto rows = ParseTraces(one.out);
    ASSERT_EQ(rows.size(), 3u * 64u);
    const auto x = ReadCapture(Path("n.cf32"), false, 1.0);
    for (int t = 0; t < 3; ++t) {
        const auto power = DirectMeanPower(x, t * 384, 64, 6);
        for (int i = 0; i < 64; ++i)
            EXPECT_NEAR(rows[t * 64 + i].level, 10.0 * std::log10(power[i]), 2e-4) << t << i;
    }
}

TEST_F(ToolTest, ManyShortTracesKeepTheirOrder) {
    // 4375 traces of one 16-point block: many traces per unit of work.
    ASSERT_EQ(Run("synth --out n.cf32 --rate 1e6 --samples 70000 --noise -60 --seed 2").status, 0);
    const std::string args = "spectrum n.cf32 --rate 1e6 --size 16 --traces all --out all.csv";
    ASSERT_EQ(Run(args + " --threads 1").status, 0);
    const std::string one = ReadFile(Path("all.csv"));
    const Result two = Run(args + " --threads 2");
    ASSERT_EQ(two.status, 0) << two.err;
    EXPECT_EQ(ReadFile(Path("all.csv")), one);
    const auto rows = ParseTraces(one);
    ASSERT_EQ(rows.size(), 4375u * 16u);
    EXPECT_EQ(rows.back().trace, 4374);
    // A single block's trace is exactly the one computed alone.
    for (int t : {0, 1234, 4374}) {
        const Result alone =
            Run("spectrum n.cf32 --rate 1e6 --size 16 --offset " + std::to_string(t * 16));
        const auto a = ParseCsv(alone.out);
        ASSERT_EQ(a.size(), 16u);
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(a[i].level, rows[t * 16 + i].level) << t << " " << i;
    }
}

TEST_F(ToolTest, Cs16AtAnOffsetMatchesDirectDft) {
    ASSERT_EQ(Run("synth --out t.cs16 --rate 1e6 --samples 1000 --tone 62500:-12 --noise -100 "
                  "--full-scale 2048 --seed 4")
                  .status,
              0);
    // Sample 37 on: blocks that do not start on a page or a block boundary of the file.
    const Result r =
        Run("spectrum t.cs16 --rate 1e6 --size 64 --average 10 --offset 37 --full-scale 2048 "
            "--window uniform --threads 3");
    ASSERT_EQ(r.status, 0) << r.err;
    const auto rows = ParseCsv(r.out);
    ASSERT_EQ(rows.size(), 64u);
    const auto x = ReadCapture(Path("t.cs16"), true, 2048.0);
    const auto power = DirectMeanPower(x, 37, 64, 10);
    for (int i = 0; i < 64; ++i)
        EXPECT_NEAR(rows[i].level, 10.0 * std::log10(power[i]), 2e-4) << i;
    EXPECT_EQ(Peak(rows), 32u + 4u);
}

TEST_F(ToolTest, ExistingOutputIsReplacedWhole) {
    ASSERT_EQ(Run("synth --out n.cf32 --rate 1e6 --samples 4096 --noise -60").status, 0);
    { std::ofstream(Path("trace.csv")) << "an older trace\n"; }
    const Result r = Run("spectrum n.cf32 --rate 1e6 --size 256 --average 16 --out trace.csv");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string text = ReadFile(Path("trace.csv"));
    EXPECT_EQ(text.rfind("frequency_hz,level_db\n", 0), 0u);
    EXPECT_EQ(ParseCsv(text).size(), 256u);
    EXPECT_FALSE(Exists("trace.csv.partial"));
    // A directory in the way is an error and stays as it was.
    ASSERT_EQ(mkdir(Path("adir.csv").c_str(), 0755), 0);
    const Result d = Run("spectrum n.cf32 --rate 1e6 --size 256 --out adir.csv");
    EXPECT_EQ(d.status, 1);
    EXPECT_NE(d.err.find("cannot write 'adir.csv'"), std::string::npos) << d.err;
    struct stat st {};
    ASSERT_EQ(stat(Path("adir.csv").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_FALSE(Exists("adir.csv.partial"));
}

TEST_F(ToolTest, FailedPlotWritesNothing) {
    ASSERT_EQ(Run("synth --out t.cf32 --rate 1e6 --samples 1024 --tone 1000:-10").status, 0);
    // No gnuplot on this PATH: the plot fails, and neither the CSV nor standard output get the
    // trace.
    const Result out =
        Run("spectrum t.cf32 --rate 1e6 --size 1024 --plot t.png --out t.csv", "PATH=/nonexistent");
    EXPECT_EQ(out.status, 1);
    EXPECT_NE(out.err.find("gnuplot"), std::string::npos) << out.err;
    EXPECT_FALSE(Exists("t.csv"));
    EXPECT_FALSE(Exists("t.csv.partial"));
    EXPECT_FALSE(Exists("t.png"));
    const Result std =
        Run("spectrum t.cf32 --rate 1e6 --size 1024 --plot t.png", "PATH=/nonexistent");
    EXPECT_EQ(std.status, 1);
    EXPECT_TRUE(std.out.empty()) << std.out.substr(0, 200);
}
