// Each of the fourteen pages of the editor, drawn without a display from the factory preset
// "default", against its reference picture in tests/references/pages/.
//
// Tolerance: a pixel differs when one of its channels is more than channelTolerance (of 255)
// away from the reference; a page passes with at most allowedPixels such pixels. That lets a
// glyph's edge fall a pixel to the side under another FreeType or cairo build, while a control
// out of place, a view missing or drawn with another bitmap or frame changes a larger area and
// fails. A failing page writes what it drew and a difference picture (red: beyond the
// tolerance, amber: within it, over the reference in grey) to the build's reference-failures/.
//
// After a deliberate change of the window, regenerate every reference from the source tree:
//   build/test/cadenzoid-snapshot --preset build/test/content/Presets/default.cdz
//     --all-pages tests/references/pages

#include "MFEditorSnapshot.h"

#include <gtest/gtest.h>

#include <cairo.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int channelTolerance = 32;
constexpr int allowedPixels = 200;

const std::vector<char>& defaultPreset() {
    static std::vector<char> bytes;
    if (bytes.empty()) {
        std::string error;
        if (!MFEditorSnapshot::readPreset(CADENZOID_DEFAULT_PRESET, bytes, error))
            ADD_FAILURE() << error;
    }
    return bytes;
}

std::string pageFile(int page) {
    char name[64];
    std::snprintf(name, sizeof name, "page-%02d-%s", page, MFEditorSnapshot::pageName(page));
    return name;
}

uint32_t wordAt(cairo_surface_t* s, int x, int y) {
    const unsigned char* row =
        cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s);
    return reinterpret_cast<const uint32_t*>(row)[x];
}

int channelDistance(uint32_t a, uint32_t b) {
    int largest = 0;
    for (int shift = 0; shift <= 16; shift += 8)
        largest = std::max(largest, std::abs(int((a >> shift) & 0xff) - int((b >> shift) & 0xff)));
    return largest;
}

struct Comparison {
    bool sameSize = false;
    int differing = 0; // pixels beyond the tolerance
    int largest = 0;   // the largest channel difference seen
};

// Compares two opaque pictures; with diff set, also draws the difference picture.
Comparison compare(cairo_surface_t* drawn, cairo_surface_t* reference,
                   cairo_surface_t* diff = nullptr) {
    Comparison result;
    const int width = cairo_image_surface_get_width(drawn);
    const int height = cairo_image_surface_get_height(drawn);
    if (width != cairo_image_surface_get_width(reference) ||
        height != cairo_image_surface_get_height(reference))
        return result;
    result.sameSize = true;
    cairo_surface_flush(drawn);
    cairo_surface_flush(reference);
    if (diff)
        cairo_surface_flush(diff);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const uint32_t a = wordAt(drawn, x, y);
            const uint32_t b = wordAt(reference, x, y);
            const int d = channelDistance(a, b);
            result.largest = std::max(result.largest, d);
            if (d > channelTolerance)
                ++result.differing;
            if (!diff)
                continue;
            uint32_t shown;
            if (d > channelTolerance) {
                shown = 0xffff0000u;
            } else if (d > 0) {
                shown = 0xffffb000u;
            } else {
                const uint32_t grey = (((b >> 16) & 0xff) + ((b >> 8) & 0xff) + (b & 0xff)) / 12;
                shown = 0xff000000u | grey << 16 | grey << 8 | grey;
            }
            unsigned char* row =
                cairo_image_surface_get_data(diff) + y * cairo_image_surface_get_stride(diff);
            reinterpret_cast<uint32_t*>(row)[x] = shown;
        }
    }
    if (diff)
        cairo_surface_mark_dirty(diff);
    return result;
}

cairo_surface_t* loadPng(const std::string& path) {
    cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    return s;
}

class ReferencePage : public testing::TestWithParam<int> {};

} // namespace

// Compares what the snapshot drew with the reference picture of that name; on failure
// writes the drawing and a difference picture beside the build.
static void expectMatchesReference(MFEditorSnapshot& snapshot, const std::string& name) {
    const std::string referencePath = std::string(CADENZOID_REFERENCE_DIR) + "/" + name + ".png";
    const std::string failures = CADENZOID_REFERENCE_FAILURES;

    cairo_surface_t* reference = loadPng(referencePath);
    Comparison result;
    cairo_surface_t* diff = nullptr;
    if (reference) {
        cairo_surface_t* drawn = snapshot.picture();
        diff = cairo_image_surface_create(CAIRO_FORMAT_RGB24, cairo_image_surface_get_width(drawn),
                                          cairo_image_surface_get_height(drawn));
        result = compare(drawn, reference, diff);
    }
    const bool passed = reference && result.sameSize && result.differing <= allowedPixels;
    if (!passed) {
        std::filesystem::create_directories(failures);
        snapshot.writePng(failures + "/" + name + ".png");
        if (diff && result.sameSize)
            cairo_surface_write_to_png(diff, (failures + "/" + name + "-diff.png").c_str());
    }
    if (diff)
        cairo_surface_destroy(diff);
    if (reference)
        cairo_surface_destroy(reference);

    ASSERT_NE(reference, nullptr) << "no reference picture " << referencePath
                                  << "; what was drawn is in " << failures;
    ASSERT_TRUE(result.sameSize) << name << ": the picture's size changed";
    EXPECT_LE(result.differing, allowedPixels)
        << name << ": " << result.differing << " pixels differ by more than " << channelTolerance
        << " (largest difference " << result.largest << "); see " << failures << "/" << name
        << "-diff.png";
}

TEST_P(ReferencePage, MatchesItsPicture) {
    MFEditorSnapshot snapshot;
    ASSERT_TRUE(snapshot.render(defaultPreset(), GetParam(), false)) << snapshot.error();
    expectMatchesReference(snapshot, pageFile(GetParam()));
}

// The main preset browser open over the Filter page: its panel, its folders and its lines.
TEST(ReferencePages, TheOpenBrowserMatchesItsPicture) {
    constexpr int filterPage = 9;
    MFEditorSnapshot snapshot;
    ASSERT_TRUE(snapshot.render(defaultPreset(), filterPage, false, true)) << snapshot.error();
    expectMatchesReference(snapshot, MFEditorSnapshot::browserName);
}

INSTANTIATE_TEST_SUITE_P(Default, ReferencePage, testing::Range(0, MFEditorSnapshot::pageCount),
                         [](const testing::TestParamInfo<int>& info) {
                             std::string name = MFEditorSnapshot::pageName(info.param);
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// The tolerance tells pages apart: each page's drawing fails against its neighbour's
// reference by far more pixels than are allowed.
TEST(ReferencePages, ToleranceTellsNeighbouringPagesApart) {
    for (int page = 0; page + 1 < MFEditorSnapshot::pageCount; ++page) {
        MFEditorSnapshot snapshot;
        ASSERT_TRUE(snapshot.render(defaultPreset(), page, false));
        cairo_surface_t* neighbour =
            loadPng(std::string(CADENZOID_REFERENCE_DIR) + "/" + pageFile(page + 1) + ".png");
        ASSERT_NE(neighbour, nullptr);
        const Comparison result = compare(snapshot.picture(), neighbour);
        cairo_surface_destroy(neighbour);
        EXPECT_GT(result.differing, 4 * allowedPixels) << "page " << page;
    }
}
