#include "editor/MFBitmapTable.h"

#include "editor/MFBitmapTableTesting.h"
#include "editor/MFEmbeddedSkin.h"
#include "editor/toolkit/CBitmap.h"

#include <array>
#include <cairo.h>
#include <cstdint>
#include <cstring>
#include <png.h>
#include <vector>

namespace {

constexpr int firstId = 1000;
constexpr int lastId = 1188;
constexpr int tableSize = lastId - firstId + 1;
// Larger than any picture of the skin; a damaged header cannot ask for more memory.
constexpr png_uint_32 largestSide = 16384;

std::array<CBitmap*, tableSize> bitmaps{};
int uses = 0;

struct Replacement {
    int id;
    const unsigned char* bytes;
    std::size_t size;
};
std::vector<Replacement> replacements;

// Straight-alpha RGBA bytes to the native 32-bit words of cairo's premultiplied ARGB.
void premultiplyRow(unsigned char* row, int width) {
    for (int x = 0; x < width; ++x) {
        unsigned char* pixel = row + 4 * x;
        const uint32_t alpha = pixel[3];
        uint32_t word = alpha << 24 | uint32_t{pixel[0]} << 16 | uint32_t{pixel[1]} << 8 | pixel[2];
        if (alpha != 255) {
            auto scale = [alpha](uint32_t channel) { return (channel * alpha + 127) / 255; };
            word = alpha << 24 | scale(pixel[0]) << 16 | scale(pixel[1]) << 8 | scale(pixel[2]);
        }
        std::memcpy(pixel, &word, sizeof word);
    }
}

// Decodes a PNG file held in memory straight into a new cairo image surface, or gives null.
cairo_surface_t* decode(const unsigned char* bytes, std::size_t size) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, bytes, size) == 0)
        return nullptr;
    if (image.width == 0 || image.height == 0 || image.width > largestSide ||
        image.height > largestSide) {
        png_image_free(&image);
        return nullptr;
    }
    image.format = PNG_FORMAT_RGBA;
    const int width = static_cast<int>(image.width);
    const int height = static_cast<int>(image.height);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        png_image_free(&image);
        return nullptr;
    }
    cairo_surface_flush(surface);
    unsigned char* pixels = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    // For 8-bit formats the row stride counts bytes.
    if (png_image_finish_read(&image, nullptr, pixels, stride, nullptr) == 0) {
        png_image_free(&image);
        cairo_surface_destroy(surface);
        return nullptr;
    }
    for (int y = 0; y < height; ++y)
        premultiplyRow(pixels + static_cast<std::ptrdiff_t>(y) * stride, width);
    cairo_surface_mark_dirty(surface);
    return surface;
}

void loadAll() {
    for (int i = 0; i < MFEmbeddedSkin::imageCount; ++i) {
        const MFEmbeddedImage& embedded = MFEmbeddedSkin::images[i];
        if (embedded.id < firstId || embedded.id > lastId)
            continue;
        const unsigned char* bytes = embedded.bytes;
        std::size_t size = embedded.size;
        for (const Replacement& replacement : replacements) {
            if (replacement.id == embedded.id) {
                bytes = replacement.bytes;
                size = replacement.size;
            }
        }
        cairo_surface_t* surface = decode(bytes, size);
        bitmaps[embedded.id - firstId] = surface != nullptr ? new CBitmap(surface) : nullptr;
    }
}

void freeAll() {
    for (CBitmap*& bitmap : bitmaps) {
        if (bitmap != nullptr)
            bitmap->forget();
        bitmap = nullptr;
    }
}

} // namespace

namespace MFBitmapTable {

void acquire() {
    if (uses++ == 0)
        loadAll();
}

void release() {
    if (uses == 0)
        return;
    if (--uses == 0)
        freeAll();
}

CBitmap* getBitmap(int id) {
    if (id < firstId || id > lastId)
        return nullptr;
    return bitmaps[id - firstId];
}

int useCount() {
    return uses;
}

} // namespace MFBitmapTable

namespace MFBitmapTableTesting {

void replaceImage(int id, const unsigned char* bytes, std::size_t size) {
    replacements.push_back({id, bytes, size});
}

void restoreImages() {
    replacements.clear();
}

} // namespace MFBitmapTableTesting
