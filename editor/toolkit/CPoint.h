#pragma once

// A pixel position in logical pixels, from the top left of the frame or of the view
// that holds it.
struct CPoint {
    int x = 0;
    int y = 0;

    constexpr CPoint() = default;
    constexpr CPoint(int xPosition, int yPosition) : x(xPosition), y(yPosition) {}

    constexpr CPoint& offset(int dx, int dy) {
        x += dx;
        y += dy;
        return *this;
    }
    constexpr CPoint operator+(CPoint other) const { return {x + other.x, y + other.y}; }
    constexpr CPoint operator-(CPoint other) const { return {x - other.x, y - other.y}; }
    constexpr bool operator==(const CPoint&) const = default;
};
