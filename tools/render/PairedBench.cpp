#include "tools/render/PairedBench.h"

#include <algorithm>

std::size_t PairedBench::add(Run run) {
    runs.push_back(std::move(run));
    results.emplace_back();
    return runs.size() - 1;
}

void PairedBench::measure(int rounds, int64_t frames, int64_t warmUpFrames) {
    const std::size_t n = runs.size();
    if (warmUpFrames > 0)
        for (Run& run : runs)
            run(warmUpFrames);
    for (int r = 0; r < rounds; ++r)
        for (std::size_t k = 0; k < n; ++k) {
            const std::size_t member = (std::size_t(r) + k) % n;
            results[member].push_back(runs[member](frames));
        }
}

PairedBench::Summary PairedBench::summarise(std::vector<double> values) {
    if (values.empty())
        return {};
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values.front(), values.back()};
}
