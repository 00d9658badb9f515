#pragma once

// The mouse buttons and modifier keys as one bit set, as every handler receives them.
namespace cbutton {
constexpr long left = 2;
constexpr long middle = 4;
constexpr long right = 8;
constexpr long shift = 16;
constexpr long control = 32;
constexpr long alt = 64;
constexpr long apple = 128;
constexpr long doubleClick = 1024;
constexpr long anyButton = left | middle | right;
} // namespace cbutton

// What a mouse handler answers.
enum CMouseEventResult : int {
    mouseNotImplemented = 0,
    mouseHandled = 1,
    mouseNotHandled = 2,
    // Handled, and the view wants neither the moves nor the release of this press.
    mouseHandledNoMoves = 3,
};

// The cursor shapes the editor asks for.
namespace ccursor {
constexpr int standard = 0;
constexpr int horizontalResize = 2;
constexpr int hand = 9;
} // namespace ccursor
