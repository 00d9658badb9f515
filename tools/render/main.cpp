// cadenzoid-render: plays a WAV file (or the built-in drum loop, or white noise) through a
// VST 2.4 effect library and writes the result, or times the effect with --bench.

#include "tools/host/PluginHost.h"
#include "tools/render/DemoLoop.h"
#include "tools/render/NoiseLoop.h"
#include "tools/render/PairedBench.h"

#include <sndfile.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

const char* const usage =
    "usage: cadenzoid-render [options]\n"
    "  -i, --input FILE       WAV (any rate, mono or stereo); default: built-in drum loop\n"
    "  --noise DBFS           stereo white noise at this RMS level instead (fixed seed,\n"
    "                         independent channels, 4 s at --rate, looped by --bench)\n"
    "  -o, --output FILE      output WAV (default: out/cadenzoid-demo.wav)\n"
    "  -p, --plugin FILE      effect library (default: Cadenzoid.so beside this program)\n"
    "  --rate HZ              sample rate of the built-in loop or the noise (default 44100)\n"
    "  --tempo BPM            host tempo (default 120)\n"
    "  --bars N               length of the built-in loop (default 4)\n"
    "  --block N              host block size (default 256)\n"
    "  --random-blocks SEED   random block sizes from 1 to --block, like a busy host\n"
    "  --in-place             pass the same buffers as input and output\n"
    "  --start PPQ            transport position at the first sample (default 0)\n"
    "  --loop START:END       host loop range in quarter notes\n"
    "  --stopped              transport not playing\n"
    "  --midi SEC:B0:B1:B2    MIDI message at a time in seconds, bytes in hex (repeatable)\n"
    "  --param KEY=VALUE      parameter by index or by name, value 0..1 (repeatable)\n"
    "  --preset FILE          load a preset file into the effect before rendering\n"
    "  --tail SEC             seconds of silence appended to the input (default 0)\n"
    "  --bench SEC            time the effect over SEC seconds of audio instead of rendering\n"
    "  --runs N               benchmark runs (default 5)\n"
    "  --warm-up SEC          with --bench: untimed audio through each member first (default 1)\n"
    "  --pair FILE            benchmark another library, at its own defaults, in alternation\n"
    "                         with the measured one and print the ratio (repeatable)\n"
    "  --pair-preset FILE     benchmark another instance of the measured library with this\n"
    "                         preset, in alternation (repeatable)\n"
    "  --pair-block N         benchmark another instance of the measured library with its\n"
    "                         preset and parameters at block size N, in alternation (repeatable)\n"
    "                         Members are labelled A (the measured one), B, C... in the order\n"
    "                         given; each run times every member once, a different one first\n"
    "  --machine              with --bench: print only one line per member,\n"
    "                         'member LABEL MEDIAN MIN MAX' (ns per frame over the runs)\n"
    "  --tempo-drop BPM       with --bench: time the block in which the host tempo falls from\n"
    "                         --tempo to BPM against ordinary blocks (a fresh instance per run)\n"
    "  -q, --quiet            no progress line\n";

// One plug-in instance of a benchmark: the measured one (A) or one of its pairs.
struct Member {
    std::string library; // empty: the measured library
    std::string preset;
    int block = 0;             // 0: --block
    bool sameStateAsA = false; // A's preset and parameters
};

struct Options {
    std::string input, output = "out/cadenzoid-demo.wav", plugin, preset;
    double rate = 44100.0, tempo = 120.0, start = 0.0, loopStart = 0.0, loopEnd = 0.0;
    double tail = 0.0, bench = 0.0, tempoDrop = 0.0, noise = 0.0, warmUp = 1.0;
    int bars = 4, block = 256, runs = 5;
    bool randomBlocks = false, inPlace = false, loop = false, stopped = false, quiet = false;
    bool withNoise = false, machine = false;
    std::vector<Member> pairs;
    unsigned seed = 1;
    std::vector<std::pair<double, std::vector<uint8_t>>> midi;
    std::vector<std::pair<std::string, float>> params;
};

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "cadenzoid-render: %s\n", message.c_str());
    std::exit(1);
}

double number(const std::string& text, const char* what) {
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(v))
        fail(std::string("bad ") + what + ": '" + text + "'");
    return v;
}

std::string besideProgram(const char* name) {
    std::vector<char> path(4096);
    const ssize_t n = readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (n <= 0)
        return name;
    std::string self(path.data(), std::size_t(n));
    return self.substr(0, self.rfind('/') + 1) + name;
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc)
                fail("option " + a + " needs a value");
            return argv[++i];
        };
        if (a == "-h" || a == "--help") {
            std::fputs(usage, stdout);
            std::exit(0);
        } else if (a == "-i" || a == "--input")
            o.input = value();
        else if (a == "-o" || a == "--output")
            o.output = value();
        else if (a == "-p" || a == "--plugin")
            o.plugin = value();
        else if (a == "--rate")
            o.rate = number(value(), "rate");
        else if (a == "--tempo")
            o.tempo = number(value(), "tempo");
        else if (a == "--bars")
            o.bars = int(number(value(), "bar count"));
        else if (a == "--block")
            o.block = int(number(value(), "block size"));
        else if (a == "--random-blocks") {
            o.randomBlocks = true;
            o.seed = unsigned(number(value(), "seed"));
        } else if (a == "--in-place")
            o.inPlace = true;
        else if (a == "--start")
            o.start = number(value(), "start position");
        else if (a == "--loop") {
            const std::string v = value();
            const auto colon = v.find(':');
            if (colon == std::string::npos)
                fail("--loop wants START:END in quarter notes");
            o.loop = true;
            o.loopStart = number(v.substr(0, colon), "loop start");
            o.loopEnd = number(v.substr(colon + 1), "loop end");
        } else if (a == "--stopped")
            o.stopped = true;
        else if (a == "--midi") {
            const std::string v = value();
            std::vector<std::string> parts;
            std::size_t from = 0;
            for (std::size_t at; (at = v.find(':', from)) != std::string::npos; from = at + 1)
                parts.push_back(v.substr(from, at - from));
            parts.push_back(v.substr(from));
            if (parts.size() < 2 || parts.size() > 4)
                fail("--midi wants SEC:B0[:B1[:B2]]");
            std::vector<uint8_t> bytes;
            for (std::size_t k = 1; k < parts.size(); ++k)
                bytes.push_back(uint8_t(std::strtoul(parts[k].c_str(), nullptr, 16)));
            bytes.resize(3, 0);
            o.midi.push_back({number(parts[0], "MIDI time"), bytes});
        } else if (a == "--param") {
            const std::string v = value();
            const auto eq = v.rfind('=');
            if (eq == std::string::npos)
                fail("--param wants KEY=VALUE");
            o.params.push_back({v.substr(0, eq), float(number(v.substr(eq + 1), "value"))});
        } else if (a == "--preset")
            o.preset = value();
        else if (a == "--tail")
            o.tail = number(value(), "tail");
        else if (a == "--bench")
            o.bench = number(value(), "benchmark length");
        else if (a == "--runs")
            o.runs = std::max(1, int(number(value(), "run count")));
        else if (a == "--warm-up")
            o.warmUp = std::max(0.0, number(value(), "warm-up length"));
        else if (a == "--pair")
            o.pairs.push_back({value(), "", 0, false});
        else if (a == "--pair-preset")
            o.pairs.push_back({"", value(), 0, false});
        else if (a == "--pair-block") {
            const int block = int(number(value(), "block size"));
            if (block < 1 || block > 65536)
                fail("block size must be 1 to 65536");
            o.pairs.push_back({"", "", block, true});
        } else if (a == "--noise") {
            o.noise = number(value(), "noise level");
            o.withNoise = true;
        } else if (a == "--machine")
            o.machine = true;
        else if (a == "--tempo-drop")
            o.tempoDrop = number(value(), "tempo");
        else if (a == "-q" || a == "--quiet")
            o.quiet = true;
        else
            fail("unknown option " + a + " (see --help)");
    }
    if (o.plugin.empty())
        o.plugin = besideProgram("Cadenzoid.so");
    if (o.block < 1 || o.block > 65536)
        fail("block size must be 1 to 65536");
    if (o.rate < 8000 || o.rate > 384000)
        fail("rate must be 8000 to 384000 Hz");
    // Uniform noise peaks at sqrt(3) times its RMS: louder than 0 dBFS RMS it would clip.
    if (o.withNoise && (o.noise < -120.0 || o.noise > 0.0))
        fail("noise level must be -120 to 0 dBFS");
    if (o.withNoise && !o.input.empty())
        fail("--noise and --input exclude each other");
    // Members are labelled by one letter each.
    if (o.pairs.size() > 25)
        fail("at most 25 pairs");
    for (Member& m : o.pairs) {
        if (m.library.empty())
            m.library = o.plugin;
        if (m.block == 0)
            m.block = o.block;
        if (m.sameStateAsA)
            m.preset = o.preset;
    }
    return o;
}

struct Audio {
    std::vector<float> left, right;
    double rate = 44100.0;
};

Audio readWav(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file)
        fail("cannot read " + path + ": " + sf_strerror(nullptr));
    if (info.channels < 1 || info.channels > 2) {
        sf_close(file);
        fail(path + " has " + std::to_string(info.channels) + " channels; 1 or 2 are supported");
    }
    std::vector<float> interleaved(std::size_t(info.frames) * std::size_t(info.channels));
    const sf_count_t got = sf_readf_float(file, interleaved.data(), info.frames);
    sf_close(file);
    Audio a;
    a.rate = info.samplerate;
    a.left.resize(std::size_t(got));
    a.right.resize(std::size_t(got));
    for (sf_count_t i = 0; i < got; ++i) {
        a.left[std::size_t(i)] = interleaved[std::size_t(i) * std::size_t(info.channels)];
        a.right[std::size_t(i)] = interleaved[std::size_t(i) * std::size_t(info.channels) +
                                              std::size_t(info.channels - 1)];
    }
    return a;
}

void writeWav(const std::string& path, const Audio& a) {
    const auto slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        const std::string dir = path.substr(0, slash);
        std::string command = "mkdir -p '" + dir + "'";
        if (std::system(command.c_str()) != 0)
            fail("cannot create folder " + dir);
    }
    SF_INFO info{};
    info.samplerate = int(a.rate);
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file)
        fail("cannot write " + path + ": " + sf_strerror(nullptr));
    std::vector<float> interleaved(a.left.size() * 2);
    for (std::size_t i = 0; i < a.left.size(); ++i) {
        interleaved[2 * i] = a.left[i];
        interleaved[2 * i + 1] = a.right[i];
    }
    sf_writef_float(file, interleaved.data(), sf_count_t(a.left.size()));
    sf_close(file);
}

void configure(PluginHost& host, const Options& o, double rate, int block) {
    // A pair at another block size gets the same largest block announced, as one host
    // slicing its blocks differently would.
    host.start(float(rate), std::max(o.block, block));
    if (o.randomBlocks)
        host.setRandomBlocks(o.seed);
    else
        host.setBlockSize(block);
    host.setInPlace(o.inPlace);
    PluginHost::Transport& t = host.transport();
    t.tempo = o.tempo;
    t.ppqPosition = o.start;
    t.playing = !o.stopped;
    t.cycleActive = o.loop;
    t.cycleStart = o.loopStart;
    t.cycleEnd = o.loopEnd;
}

void applyParameters(PluginHost& host, const Options& o) {
    for (const auto& [key, value] : o.params) {
        char* end = nullptr;
        long index = std::strtol(key.c_str(), &end, 10);
        if (key.empty() || *end != '\0')
            index = host.findParameter(key);
        if (index < 0 || index >= host.effect()->numParams)
            fail("no parameter '" + key + "'");
        host.setParameter(int32_t(index), value);
    }
}

void loadPreset(PluginHost& host, const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        fail("cannot read preset " + path);
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    // No state is anywhere near this size; a larger file is not a preset.
    if (size <= 0 || size > 16 * 1024 * 1024)
        fail(path + " is not a preset file");
    file.seekg(0);
    std::vector<uint8_t> data(std::size_t(size), 0);
    file.read(reinterpret_cast<char*>(data.data()), size);
    if (host.setChunk(data, true) == 0)
        fail("the effect did not accept the preset " + path);
}

// Every member of a benchmark: A is the measured library with --preset and --param.
std::vector<Member> members(const Options& o) {
    std::vector<Member> all{{o.plugin, o.preset, o.block, true}};
    all.insert(all.end(), o.pairs.begin(), o.pairs.end());
    return all;
}

// Loads a member and gives it its state: configured like every other member.
void prepare(PluginHost& host, const Options& o, const Member& m, double rate) {
    if (!host.load(m.library))
        fail(host.lastError());
    configure(host, o, rate, m.block);
    if (!m.preset.empty())
        loadPreset(host, m.preset);
    if (m.sameStateAsA)
        applyParameters(host, o);
}

std::string describe(const Member& m, const Options& o) {
    std::string text = m.library;
    if (!m.preset.empty())
        text += ", preset " + m.preset;
    if (m.block != o.block)
        text += ", block " + std::to_string(m.block);
    return text;
}

std::string labelOf(std::size_t member) {
    return std::string(1, char('A' + member));
}

double cpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

struct BenchResult {
    std::vector<double> nsPerFrame;
    double median() const { return PairedBench::summarise(nsPerFrame).median; }
};

// One member's host with output buffers of its own, timed over whole blocks only: the
// source is played in pieces that are a multiple of the block size, so that looping it
// never slips a short block in.
class TimedMember {
public:
    TimedMember(const Options& o, const Member& m, const Audio& audio)
        : source(audio), block(o.randomBlocks ? 1 : m.block), outLeft(audio.left.size()),
          outRight(audio.right.size()) {
        prepare(host, o, m, audio.rate);
    }

    double run(int64_t frames) {
        const int64_t length = int64_t(source.left.size());
        const int64_t piece = length >= block ? length - length % block : length;
        frames = frames >= block ? frames - frames % block : frames;
        const double t0 = cpuSeconds();
        for (int64_t done = 0; done < frames; done += piece) {
            const int64_t n = std::min(piece, frames - done);
            host.process(source.left.data(), source.right.data(), outLeft.data(), outRight.data(),
                         n);
        }
        const double t1 = cpuSeconds();
        return (t1 - t0) * 1e9 / double(frames);
    }

private:
    PluginHost host;
    const Audio& source;
    const int64_t block;
    std::vector<float> outLeft, outRight;
};

int runBench(const Options& o, const Audio& source) {
    const int64_t frames = int64_t(o.bench * source.rate);
    if (frames <= 0)
        fail("--bench needs a positive duration");
    const std::vector<Member> all = members(o);
    std::vector<std::unique_ptr<TimedMember>> timed;
    PairedBench bench;
    for (const Member& m : all) {
        timed.push_back(std::make_unique<TimedMember>(o, m, source));
        TimedMember* member = timed.back().get();
        bench.add([member](int64_t n) { return member->run(n); });
    }
    bench.measure(o.runs, frames, int64_t(o.warmUp * source.rate));

    if (o.machine) {
        for (std::size_t k = 0; k < all.size(); ++k) {
            const PairedBench::Summary s = bench.summary(k);
            std::printf("member %s %.3f %.3f %.3f\n", labelOf(k).c_str(), s.median, s.min, s.max);
        }
        return 0;
    }
    for (std::size_t k = 0; k < all.size(); ++k) {
        const PairedBench::Summary s = bench.summary(k);
        std::printf("%s %s\n  ns/frame: min %.1f median %.1f max %.1f; real-time factor: best "
                    "%.0fx median %.0fx (%d runs of %.1f s at %.0f Hz, block %d%s)\n",
                    labelOf(k).c_str(), describe(all[k], o).c_str(), s.min, s.median, s.max,
                    1e9 / (s.min * source.rate), 1e9 / (s.median * source.rate), o.runs, o.bench,
                    source.rate, all[k].block, o.randomBlocks ? " random" : "");
    }
    for (std::size_t k = 1; k < all.size(); ++k)
        std::printf("ratio A/%s of median ns/frame: %.2f\n", labelOf(k).c_str(),
                    bench.summary(0).median / bench.summary(k).median);
    return 0;
}

// One fresh instance: warmed up at --tempo, then its ordinary blocks timed one by one,
// then the block in which the host tempo falls, then the blocks of the next two seconds
// (where work that the drop set going elsewhere would come back to the audio thread).
struct DropTiming {
    double ordinary = 0.0; // median of the ordinary blocks, microseconds
    double drop = 0.0;
    double worstAfter = 0.0;
    double residentBefore = 0.0; // MiB of the whole process, before the drop and 2 s after
    double residentAfter = 0.0;
    double dropFaults = 0.0; // page faults the processing thread took in the drop block
};

long threadPageFaults() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt + usage.ru_majflt;
}

double residentMiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::strtod(line.c_str() + 6, nullptr) / 1024.0;
    return 0.0;
}

DropTiming tempoDropOnce(const Options& o, const Member& m, const Audio& source) {
    PluginHost host;
    prepare(host, o, m, source.rate);
    host.setBlockSize(m.block);
    const int64_t length = int64_t(source.left.size());
    std::vector<float> inLeft(std::size_t(m.block)), inRight(std::size_t(m.block));
    std::vector<float> outLeft(std::size_t(m.block)), outRight(std::size_t(m.block));
    int64_t at = 0;
    auto block = [&] {
        for (int i = 0; i < m.block; ++i, ++at) {
            inLeft[std::size_t(i)] = source.left[std::size_t(at % length)];
            inRight[std::size_t(i)] = source.right[std::size_t(at % length)];
        }
        const double t0 = cpuSeconds();
        host.process(inLeft.data(), inRight.data(), outLeft.data(), outRight.data(), m.block);
        return (cpuSeconds() - t0) * 1e6;
    };
    const int64_t second = int64_t(source.rate) / m.block + 1;
    for (int64_t b = 0; b < second; ++b)
        block();
    BenchResult ordinary;
    for (int b = 0; b < 400; ++b)
        ordinary.nsPerFrame.push_back(block());
    DropTiming t;
    t.ordinary = ordinary.median();
    t.residentBefore = residentMiB();
    host.transport().tempo = o.tempoDrop;
    const long faults = threadPageFaults();
    t.drop = block();
    t.dropFaults = double(threadPageFaults() - faults);
    for (int64_t b = 0; b < 2 * second; ++b)
        t.worstAfter = std::max(t.worstAfter, block());
    t.residentAfter = residentMiB();
    return t;
}

int runTempoDrop(const Options& o, const Audio& source) {
    const std::vector<Member> all = members(o);
    std::vector<std::vector<DropTiming>> timings(all.size());
    for (int r = 0; r < o.runs; ++r)
        for (std::size_t k = 0; k < all.size(); ++k)
            timings[k].push_back(tempoDropOnce(o, all[k], source));
    auto median = [](const std::vector<DropTiming>& runs, double DropTiming::*field) {
        BenchResult r;
        for (const DropTiming& t : runs)
            r.nsPerFrame.push_back(t.*field);
        return r.median();
    };
    for (std::size_t k = 0; k < all.size(); ++k) {
        const std::vector<DropTiming>& runs = timings[k];
        const double ordinary = median(runs, &DropTiming::ordinary);
        const double drop = median(runs, &DropTiming::drop);
        const double after = median(runs, &DropTiming::worstAfter);
        const double before = median(runs, &DropTiming::residentBefore);
        const double grown = median(runs, &DropTiming::residentAfter);
        const double faults = median(runs, &DropTiming::dropFaults);
        double worstDrop = 0.0;
        for (const DropTiming& t : runs)
            worstDrop = std::max(worstDrop, t.drop);
        std::printf("%s %s\n  tempo %.0f -> %.0f bpm, block %d at %.0f Hz, %d fresh instances "
                    "(medians; CPU time of the processing thread)\n"
                    "  ordinary block %.1f us; drop block %.1f us (%.2fx, worst run %.1f us); "
                    "worst block of the 2 s after %.1f us (%.2fx)\n"
                    "  page faults in the drop block %.0f; resident memory of the process %.1f MiB "
                    "before the drop, %.1f MiB after\n",
                    labelOf(k).c_str(), describe(all[k], o).c_str(), o.tempo, o.tempoDrop,
                    all[k].block, source.rate, o.runs, ordinary, drop, drop / ordinary, worstDrop,
                    after, after / ordinary, faults, before, grown);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const Options o = parse(argc, argv);

    Audio source;
    if (o.withNoise) {
        NoiseLoop noise = NoiseLoop::make(o.rate, o.noise);
        source.left = std::move(noise.left);
        source.right = std::move(noise.right);
        source.rate = o.rate;
    } else if (o.input.empty()) {
        DemoLoop loop = DemoLoop::make(o.rate, o.tempo, std::max(1, o.bars));
        source.left = std::move(loop.left);
        source.right = std::move(loop.right);
        source.rate = o.rate;
    } else {
        source = readWav(o.input);
        if (source.left.empty())
            fail(o.input + " holds no audio");
    }
    if (o.bench > 0.0)
        return o.tempoDrop > 0.0 ? runTempoDrop(o, source) : runBench(o, source);

    const std::size_t tailFrames = std::size_t(o.tail * source.rate);
    source.left.resize(source.left.size() + tailFrames, 0.0f);
    source.right.resize(source.right.size() + tailFrames, 0.0f);

    PluginHost host;
    if (!host.load(o.plugin))
        fail(host.lastError());
    configure(host, o, source.rate, o.block);
    if (!o.preset.empty())
        loadPreset(host, o.preset);
    applyParameters(host, o);
    for (const auto& [seconds, bytes] : o.midi)
        host.queueMidi({int64_t(seconds * source.rate), {bytes[0], bytes[1], bytes[2]}});

    Audio out;
    out.rate = source.rate;
    out.left.resize(source.left.size());
    out.right.resize(source.right.size());
    const int64_t total = int64_t(source.left.size());
    const int64_t step = int64_t(source.rate); // one second per progress update
    for (int64_t done = 0; done < total; done += step) {
        const int64_t n = std::min(step, total - done);
        host.process(source.left.data() + done, source.right.data() + done, out.left.data() + done,
                     out.right.data() + done, n);
        if (!o.quiet && total > 10 * step)
            std::fprintf(stderr, "\rrendering %3d%%", int(100 * (done + n) / total));
    }
    if (!o.quiet && total > 10 * step)
        std::fputc('\n', stderr);

    float peak = 0.0f;
    for (std::size_t i = 0; i < out.left.size(); ++i) {
        if (!std::isfinite(out.left[i]) || !std::isfinite(out.right[i]))
            fail("the effect produced a non-finite sample at frame " + std::to_string(i));
        peak = std::max({peak, std::fabs(out.left[i]), std::fabs(out.right[i])});
    }
    writeWav(o.output, out);
    std::printf("rendered %.2f s at %.0f Hz through %s\n  plug-in: %s\n  output:  %s (peak %.3f)\n",
                double(total) / source.rate, source.rate, host.effectName().c_str(),
                o.plugin.c_str(), o.output.c_str(), double(peak));
    return 0;
}
