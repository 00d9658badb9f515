#pragma once

#include <cstddef>

// For tests: makes the next decode of the skin read other bytes for one id, such as a
// damaged file. The bytes must stay alive until restoreImages().
namespace MFBitmapTableTesting {
void replaceImage(int id, const unsigned char* bytes, std::size_t size);
void restoreImages();
} // namespace MFBitmapTableTesting
