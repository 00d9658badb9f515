#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

// Times several members (plug-ins, states, block sizes) in one process, in alternation,
// so that whatever else the machine is doing falls on all of them alike. Each round runs
// every member once; round r starts with member r mod n, so that no member always runs
// right after the same other one (and inherits its cache state).
class PairedBench {
public:
    // Processes `frames` frames and answers the cost in nanoseconds per frame.
    using Run = std::function<double(int64_t frames)>;

    struct Summary {
        double median = 0.0;
        double min = 0.0;
        double max = 0.0;
    };

    // Answers the member's index.
    std::size_t add(Run run);
    std::size_t size() const { return runs.size(); }

    // One untimed warm-up of every member (first touches of its buffers, caches), then
    // `rounds` timed rounds of `frames` each.
    void measure(int rounds, int64_t frames, int64_t warmUpFrames);

    const std::vector<double>& nsPerFrame(std::size_t member) const { return results[member]; }
    Summary summary(std::size_t member) const { return summarise(results[member]); }

    // The middle value (the upper one of an even count), and the extremes.
    static Summary summarise(std::vector<double> values);

private:
    std::vector<Run> runs;
    std::vector<std::vector<double>> results;
};
