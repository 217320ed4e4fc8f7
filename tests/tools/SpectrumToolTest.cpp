// `ombrel synth`, `ombrel spectrum` and `ombrel demo` end to end.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
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

    Result Run(const std::string& args) const {
        const std::string errPath = Path("stderr.txt");
        const std::string cmd =
            "cd '" + dir + "' && " + OMBREL_TOOL_PATH + " " + args + " 2>'" + errPath + "'";
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
