#pragma once

#include <cstddef>

// The skin's images as PNG files, generated at build time and linked into the plug-in, so
// that it needs no data folder.
struct MFEmbeddedImage {
    int id;
    const unsigned char* bytes;
    std::size_t size;
};

namespace MFEmbeddedSkin {
extern const MFEmbeddedImage images[];
extern const int imageCount;
} // namespace MFEmbeddedSkin
