#include "editor/MFValueRouting.h"

#include <array>

namespace mfrouting {
namespace {
// clang-format off
constexpr int16_t twoState[] = {
    120, 137, 138, 139, 142, 149, 167, 168, 169, 172, 178, 195, 196, 197, 200, 206, 224, 225,
    226, 229, 235, 251, 252, 253, 256, 262, 280, 281, 282, 285, 291, 305, 310, 311, 312, 315,
    325, 342, 343, 344, 347, 353, 369, 370, 371, 374, 380, 396, 398, 399, 402, 403, 409, 421,
    426, 427, 428, 431, 438, 456, 457, 458, 461, 467, 476, 487, 488, 489, 492, 498, 501, 503,
    512, 514, 525, 529, 546, 547, 548, 551, 557, 563, 564, 565};
constexpr int16_t sixLines[] = {140, 141, 170, 171, 198, 199, 227, 228, 345, 346};
constexpr int16_t fiveLines[] = {254, 255, 313, 314, 372, 373, 400, 401, 429, 430};
constexpr int16_t sevenLines[] = {283, 284, 459, 460, 490, 491, 549, 550};
constexpr int16_t page[] = {320};
constexpr int16_t filterKind[] = {469};
constexpr int16_t learnPopup[] = {558};
// clang-format on

template <std::size_t n> constexpr ScaleRow scaleRow(float scale, const int16_t (&tags)[n]) {
    return {scale, tags, int32_t(n)};
}
} // namespace

const ScaleRow scaleTable[] = {
    scaleRow(0.5f, twoState),       scaleRow(0.16667667f, sixLines),
    scaleRow(0.20001f, fiveLines),  scaleRow(0.14286715f, sevenLines),
    scaleRow(0.071428575f, page),   scaleRow(0.25f, filterKind),
    scaleRow(0.25001f, learnPopup),
};
const int32_t scaleRowCount = int32_t(sizeof scaleTable / sizeof scaleTable[0]);

float scaleOf(int32_t tag) {
    for (const ScaleRow& row : scaleTable)
        for (int32_t i = 0; i < row.count; ++i)
            if (row.tags[i] == tag)
                return row.scale;
    return 1.0f;
}

} // namespace mfrouting
