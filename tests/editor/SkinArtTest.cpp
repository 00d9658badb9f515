#include "editor/MFBitmapTable.h"
#include "editor/toolkit/CBitmap.h"

#include "SkinPixels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <utility>

namespace {

using SkinPixels::at;
using SkinPixels::luminance;

struct Layout {
    int width;
    int height;
    int frames;
};

// The bitmap table's sizes and frame counts, written out from the layout's tables. Where
// the layout gives only a role, the size follows from the control that shows the bitmap:
// the swing fader is as wide as its control (62), the filter section's menus hold four
// lines of 15, the value strips that sit in 39-pixel displays are 39 wide and the one no
// display uses is 38, and the output indicator is a single frame.
std::map<int, Layout> expectedLayouts() {
    std::map<int, Layout> table;
    auto set = [&table](std::initializer_list<int> ids, Layout layout) {
        for (int id : ids)
            table[id] = layout;
    };
    auto range = [&table](int first, int last, Layout layout) {
        for (int id = first; id <= last; ++id)
            table[id] = layout;
    };
    set({1000}, {770, 525, 1});
    set({1002}, {402, 235, 1});
    set({1003, 1076, 1080, 1083}, {61, 32, 2});
    range(1004, 1017, {20, 64, 1});
    range(1018, 1031, {529, 116, 1});
    range(1032, 1046, {17, 34, 2});
    set({1001, 1035}, {50, 38, 2});
    set({1047, 1058, 1081, 1082}, {41, 34, 2});
    set({1048, 1084}, {18, 30, 2});
    set({1049}, {39, 15, 1});
    set({1050}, {40, 5120, 128});
    set({1051}, {74, 9472, 128});
    set({1052}, {28, 3584, 128});
    set({1053}, {62, 19 * 48, 48});
    set({1054, 1173}, {57, 30, 2});
    set({1055, 1056}, {57, 60, 4});
    set({1057}, {17, 34, 2});
    range(1059, 1071, {17, 34, 2});
    set({1072}, {41, 15, 1});
    set({1073}, {105, 195, 13});
    set({1091}, {39, 180, 12});
    set({1074}, {195, 20, 1});
    set({1088}, {18, 330, 1});
    set({1085}, {15, 14, 1});
    set({1075}, {2, 3535, 35});
    set({1077, 1078}, {77, 30, 2});
    set({1079}, {26, 15, 1});
    set({1086, 1087}, {17, 38, 2});
    set({1089, 1090}, {17, 34, 2});
    // Row-mode menus, a normal and a highlight bitmap per effect, in the order of the
    // effects' table bitmaps 1004 to 1017; one line for "none" and one per target.
    const int targetMenuLines[] = {6 /* Chorus */,  5 /* Crush */,
                                   6 /* Delay */,   7 /* Filter */,
                                   6 /* Loop */,    6 /* Phaser */,
                                   6 /* Reverb */,  5 /* Stretch */,
                                   5 /* Reverse */, 5 /* Vinyl */,
                                   7 /* Scratch */, 5 /* Stutter */,
                                   7 /* Tonal */,   7 /* X-Loop */};
    for (int pair = 0; pair < 14; ++pair) {
        const int lines = targetMenuLines[pair];
        set({1092 + 2 * pair, 1093 + 2 * pair}, {77, 15 * lines, lines});
    }
    // Preset captions, and the previous and next arrows of each effect.
    for (int caption = 1120; caption <= 1156; caption += 3) {
        set({caption}, {131, 15, 1});
        set({caption + 1, caption + 2}, {15, 30, 2});
    }
    set({1158}, {131, 15, 1});
    set({1157, 1159, 1160, 1164}, {15, 30, 2});
    set({1161}, {70, 80, 1});
    set({1162}, {39, 8 * 15, 8});
    set({1163}, {30, 34, 2});
    set({1165}, {39, 27 * 15, 27});
    set({1166}, {39, 10 * 15, 10});
    set({1167}, {39, 16 * 15, 16});
    set({1172}, {38, 9 * 15, 9});
    set({1168}, {575, 51, 1});
    set({1169}, {156, 102, 6});
    set({1170}, {16, 3528, 14});
    set({1171}, {177, 105, 5});
    range(1174, 1188, {18, 136, 8});
    return table;
}

bool framesEqual(const CBitmap& bitmap, int frameHeight, int a, int b) {
    cairo_surface_t* surface = bitmap.surface();
    const int stride = cairo_image_surface_get_stride(surface);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    for (int y = 0; y < frameHeight; ++y) {
        if (std::memcmp(data + (a * frameHeight + y) * stride,
                        data + (b * frameHeight + y) * stride, 4 * bitmap.getWidth()) != 0)
            return false;
    }
    return true;
}

// The angle of a knob's pointer, clockwise from straight up, in degrees: the centroid of the
// light inside the value arc, counted above a level that the knob's face (below 100) never
// reaches, so that the pointer's antialiased edge pixels weigh by how much they cover.
double pointerAngle(const CBitmap& strip, int size, int frame) {
    constexpr double brightest = 120.0;
    const double centre = size / 2.0;
    double sumX = 0.0, sumY = 0.0, weight = 0.0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double dx = x + 0.5 - centre;
            const double dy = y + 0.5 - centre;
            if (std::hypot(dx, dy) > 0.35 * size)
                continue;
            const double w = luminance(at(strip, x, frame * size + y)) - brightest;
            if (w > 0.0) {
                sumX += w * dx;
                sumY += w * dy;
                weight += w;
            }
        }
    }
    if (weight == 0.0)
        return NAN;
    return std::atan2(sumX, -sumY) * 180.0 / M_PI;
}

class SkinArt : public ::testing::Test {
protected:
    void SetUp() override { MFBitmapTable::acquire(); }
    void TearDown() override { MFBitmapTable::release(); }

    static const CBitmap& bitmap(int id) {
        const CBitmap* bitmap = MFBitmapTable::getBitmap(id);
        if (bitmap == nullptr)
            throw std::runtime_error("bitmap " + std::to_string(id) + " did not decode");
        return *bitmap;
    }
};

TEST_F(SkinArt, EveryBitmapDecodesAtItsSizeAndIsOpaque) {
    const std::map<int, Layout> expected = expectedLayouts();
    ASSERT_EQ(expected.size(), 189u) << "the layout names 189 bitmaps";
    for (const auto& [id, layout] : expected) {
        const CBitmap* decoded = MFBitmapTable::getBitmap(id);
        ASSERT_NE(decoded, nullptr) << "id " << id;
        EXPECT_EQ(decoded->getWidth(), layout.width) << "id " << id;
        EXPECT_EQ(decoded->getHeight(), layout.height) << "id " << id;
        EXPECT_EQ(layout.height % layout.frames, 0) << "id " << id;
        // Transparency in this skin is the key colour only; every pixel is opaque.
        bool opaque = true;
        for (int y = 0; y < decoded->getHeight() && opaque; ++y)
            for (int x = 0; x < decoded->getWidth() && opaque; ++x)
                opaque = SkinPixels::alpha(at(*decoded, x, y)) == 255;
        EXPECT_TRUE(opaque) << "id " << id;
    }
}

// Frames stacked at the wrong height, or a strip that repeats one picture, show up as equal
// frames. Two strips repeat on purpose: the pattern keys light B for both of their last two
// frames (a value of 1 picks pattern 11), and the straight-value list names a quarter twice.
TEST_F(SkinArt, EveryFrameOfAStripIsItsOwnPicture) {
    const std::set<std::pair<int, std::pair<int, int>>> intendedTwins = {{1073, {11, 12}},
                                                                         {1172, {0, 3}}};
    for (const auto& [id, layout] : expectedLayouts()) {
        if (layout.frames < 2)
            continue;
        const CBitmap& strip = bitmap(id);
        const int frameHeight = layout.height / layout.frames;
        for (int a = 0; a < layout.frames; ++a) {
            for (int b = a + 1; b < layout.frames; ++b) {
                const bool twins = intendedTwins.count({id, {a, b}}) > 0;
                EXPECT_EQ(framesEqual(strip, frameHeight, a, b), twins)
                    << "id " << id << ", frames " << a << " and " << b;
            }
        }
    }
}

// 128 frames over 300 degrees: a step of 2.36 degrees. Each frame's pointer must lie within
// 0.8 of a step of its own angle, so no frame can be mistaken for its neighbour, and frame 0
// and frame 127 lie at -150 and +150 degrees from straight up.
TEST_F(SkinArt, KnobPointersTurnThroughThreeHundredDegrees) {
    constexpr double step = 300.0 / 127.0;
    for (int id : {1050, 1051, 1052}) {
        const CBitmap& strip = bitmap(id);
        const int size = strip.getWidth();
        double worst = 0.0;
        for (int frame = 0; frame < 128; ++frame) {
            const double measured = pointerAngle(strip, size, frame);
            ASSERT_FALSE(std::isnan(measured))
                << "id " << id << " frame " << frame << " has no pointer";
            const double expected = -150.0 + step * frame;
            worst = std::max(worst, std::abs(measured - expected));
        }
        EXPECT_LT(worst, 0.8 * step) << "id " << id;
        const double sweep = pointerAngle(strip, size, 127) - pointerAngle(strip, size, 0);
        EXPECT_NEAR(sweep, 300.0, 0.8 * step) << "id " << id;
    }
}

// Pure magenta is left out when a bitmap is drawn transparently. It belongs only in the two
// pictures that move over the others (the playhead and the page marker), and nowhere may a
// near-magenta pixel appear, which would show as a pink fringe around a keyed shape.
TEST_F(SkinArt, KeyColourOnlyWhereTransparencyIsMeant) {
    const std::set<int> keyed = {1085, 1088};
    for (int id = 1000; id <= 1188; ++id) {
        const CBitmap& image = bitmap(id);
        int key = 0;
        int nearKey = 0;
        for (int y = 0; y < image.getHeight(); ++y) {
            for (int x = 0; x < image.getWidth(); ++x) {
                const uint32_t pixel = at(image, x, y) & 0xffffff;
                if (pixel == 0xff00ff) {
                    ++key;
                    continue;
                }
                const int r = SkinPixels::red(pixel), g = SkinPixels::green(pixel),
                          b = SkinPixels::blue(pixel);
                if (r > 180 && b > 180 && g < 100)
                    ++nearKey;
            }
        }
        EXPECT_EQ(nearKey, 0) << "id " << id;
        if (keyed.count(id) > 0) {
            EXPECT_GT(key, image.getWidth() * image.getHeight() / 2) << "id " << id;
        } else {
            EXPECT_EQ(key, 0) << "id " << id;
        }
    }
}

// The zone view draws one sprite cell per 18-pixel step over the window's lane track, blended
// at 180 of 255, so the space around a zone's body must repeat the track exactly, or every
// zone would carry a ghost box. And the zone sounding now must stand out: its body brighter
// by at least 40 levels of luma.
TEST_F(SkinArt, LaneSpritesSitOnTheTrackAndLightTheSoundingZone) {
    const CBitmap& window = bitmap(1000);
    constexpr int cell = 17;
    const int laneTops[] = {73,  92,  110, 128, 146, 164, 182, 200,
                            218, 236, 254, 272, 290, 308, 326};
    const int sprites[] = {1178, 1180, 1177, 1186, 1184, 1182, 1185, 1188,
                           1187, 1175, 1183, 1179, 1174, 1176, 1181};
    for (int lane = 0; lane < 15; ++lane) {
        const CBitmap& sprite = bitmap(sprites[lane]);
        // Step 1 of the lane: a plain step line, no beat.
        const int stepLeft = 184 + 18;
        for (int frame = 0; frame < 8; ++frame) {
            for (int y : {0, 1, cell - 2, cell - 1})
                for (int x = 0; x < 18; ++x)
                    ASSERT_EQ(at(sprite, x, frame * cell + y),
                              at(window, stepLeft + x, laneTops[lane] + y))
                        << "sprite " << sprites[lane] << " cell " << frame << " at " << x << ", "
                        << y;
        }
        for (int frame = 0; frame < 4; ++frame) {
            auto body = [&](int f) {
                double sum = 0.0;
                for (int y = 5; y < 12; ++y)
                    for (int x = 4; x < 14; ++x)
                        sum += luminance(at(sprite, x, f * cell + y));
                return sum / 70.0;
            };
            EXPECT_GT(body(frame + 4), body(frame) + 40.0)
                << "sprite " << sprites[lane] << " cell " << frame;
        }
    }
}

// The window's lanes and the tables' field mark every step where the zone view and the table
// view put it: every 18 pixels from the view's left edge.
TEST_F(SkinArt, StepLinesMatchTheEighteenPixelSteps) {
    const CBitmap& window = bitmap(1000);
    for (int top = 73; top <= 326; top += (top == 73 ? 19 : 18)) {
        for (int step = 1; step < 32; ++step) {
            const int line = 184 + 18 * step;
            EXPECT_GT(luminance(at(window, line, top + 8)),
                      luminance(at(window, line + 9, top + 8)) + 5)
                << "lane at y " << top << ", step " << step;
        }
    }
    const CBitmap& table = bitmap(1168);
    for (int step = 1; step < 32; ++step)
        EXPECT_GT(luminance(at(table, 18 * step, 10)), luminance(at(table, 18 * step + 9, 10)) + 5)
            << "table step " << step;
}

// Frame k of the effect column lights the row of effect k, the lanes' order.
TEST_F(SkinArt, EffectColumnLightsTheChosenRow) {
    const CBitmap& column = bitmap(1170);
    for (int frame = 0; frame < 14; ++frame) {
        int brightestRow = -1;
        double brightest = -1.0;
        for (int row = 0; row < 14; ++row) {
            double sum = 0.0;
            for (int y = 0; y < 18; ++y)
                for (int x = 0; x < 16; ++x)
                    sum += luminance(at(column, x, frame * 252 + row * 18 + y));
            if (sum > brightest) {
                brightest = sum;
                brightestRow = row;
            }
        }
        EXPECT_EQ(brightestRow, frame);
    }
}

// The meter fills from the bottom: frame 0 shows nothing lit, each frame at least as much as
// the one before, and the last frame the whole height.
TEST_F(SkinArt, LevelMeterFillsFromTheBottom) {
    const CBitmap& meter = bitmap(1075);
    constexpr int height = 101;
    constexpr double litLuma = 100.0;
    int previous = -1;
    for (int frame = 0; frame < 35; ++frame) {
        int lit = 0;
        int highestLit = height;
        int lowestDark = -1;
        for (int y = 0; y < height; ++y) {
            if (luminance(at(meter, 0, frame * height + y)) > litLuma) {
                ++lit;
                highestLit = std::min(highestLit, y);
            } else if (y % 3 != (height - 1 - 2) % 3) {
                lowestDark = std::max(lowestDark, y); // a dark segment, not a gap between them
            }
        }
        EXPECT_GE(lit, previous) << "frame " << frame;
        EXPECT_LT(lowestDark, highestLit)
            << "frame " << frame << " has a dark part under a lit one";
        previous = lit;
        if (frame == 0) {
            EXPECT_EQ(lit, 0);
        }
        if (frame == 34) {
            EXPECT_EQ(lowestDark, -1) << "the last frame lights the whole height";
        }
    }
}

} // namespace
