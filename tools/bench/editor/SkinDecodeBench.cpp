// The skin's share of an editor's first open in a process: decoding the 189 embedded PNG
// files into cairo surfaces. The counter skin_bytes is the memory the decoded surfaces hold.
#include "editor/MFBitmapTable.h"
#include "editor/toolkit/CBitmap.h"

#include <benchmark/benchmark.h>
#include <cairo.h>
#include <cstddef>

namespace {

std::size_t decodedBytes() {
    std::size_t bytes = 0;
    for (int id = 1000; id <= 1188; ++id) {
        if (const CBitmap* bitmap = MFBitmapTable::getBitmap(id)) {
            cairo_surface_t* surface = bitmap->surface();
            bytes += static_cast<std::size_t>(cairo_image_surface_get_stride(surface)) *
                     static_cast<std::size_t>(cairo_image_surface_get_height(surface));
        }
    }
    return bytes;
}

void SkinFirstAcquire(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        MFBitmapTable::acquire();
        state.PauseTiming();
        bytes = decodedBytes();
        MFBitmapTable::release();
        state.ResumeTiming();
    }
    state.counters["skin_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(SkinFirstAcquire)->Unit(benchmark::kMillisecond);

// A second editor's open: the table is already decoded and only counts the use.
void SkinSecondAcquire(benchmark::State& state) {
    MFBitmapTable::acquire();
    for (auto _ : state) {
        MFBitmapTable::acquire();
        MFBitmapTable::release();
    }
    MFBitmapTable::release();
}
BENCHMARK(SkinSecondAcquire);

} // namespace
