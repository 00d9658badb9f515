#include "editor/MFBitmapTable.h"
#include "editor/MFBitmapTableTesting.h"
#include "editor/MFEmbeddedSkin.h"
#include "editor/toolkit/CBitmap.h"

#include "SkinPixels.h"

#include <gtest/gtest.h>
#include <png.h>
#include <vector>

namespace {

constexpr int firstId = 1000;
constexpr int lastId = 1188;

std::vector<unsigned char> embeddedBytes(int id) {
    for (int i = 0; i < MFEmbeddedSkin::imageCount; ++i) {
        const MFEmbeddedImage& image = MFEmbeddedSkin::images[i];
        if (image.id == id)
            return std::vector<unsigned char>(image.bytes, image.bytes + image.size);
    }
    return {};
}

// Every test leaves the process-wide table as it found it: released and without replacements.
class BitmapTable : public ::testing::Test {
protected:
    void TearDown() override {
        while (MFBitmapTable::useCount() > 0)
            MFBitmapTable::release();
        MFBitmapTableTesting::restoreImages();
    }
};

// Two editors share one decode: the second open gets the very same bitmaps, the first close
// leaves them in place and drawable, the last close frees them (an ASan build checks that
// nothing leaks), a close too many changes nothing and a later open decodes afresh. Ids
// outside the skin give null.
TEST_F(BitmapTable, TwoEditorsShareOneDecodeAndTheLastCloseFreesIt) {
    ASSERT_EQ(MFBitmapTable::useCount(), 0);
    EXPECT_EQ(MFBitmapTable::getBitmap(1000), nullptr) << "nothing is decoded before an open";
    MFBitmapTable::acquire();
    for (int id : {999, 1189, 0, -1}) // 0 is the layout's id for no bitmap
        EXPECT_EQ(MFBitmapTable::getBitmap(id), nullptr) << "id " << id;
    std::vector<CBitmap*> first;
    for (int id = firstId; id <= lastId; ++id)
        first.push_back(MFBitmapTable::getBitmap(id));
    auto expectAll = [&](auto check) {
        for (int id = firstId; id <= lastId; ++id)
            check(id, MFBitmapTable::getBitmap(id));
    };
    MFBitmapTable::acquire();
    MFBitmapTable::release();
    EXPECT_EQ(MFBitmapTable::useCount(), 1);
    expectAll([&](int id, CBitmap* bitmap) {
        ASSERT_NE(bitmap, nullptr) << "id " << id;
        EXPECT_EQ(bitmap, first[std::size_t(id - firstId)]) << "id " << id;
        EXPECT_EQ(cairo_surface_status(bitmap->surface()), CAIRO_STATUS_SUCCESS);
    });
    MFBitmapTable::release();
    MFBitmapTable::release();
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    expectAll([](int id, CBitmap* bitmap) { EXPECT_EQ(bitmap, nullptr) << "id " << id; });
    MFBitmapTable::acquire();
    EXPECT_NE(MFBitmapTable::getBitmap(1000), nullptr);
}

TEST_F(BitmapTable, DamagedFilesGiveNullAndTheRestStillDecodes) {
    const std::vector<unsigned char> good = embeddedBytes(1049);
    ASSERT_GT(good.size(), 64u);
    // Cut short in the middle of the image data.
    const std::vector<unsigned char> truncated(good.begin(), good.begin() + good.size() / 2);
    // One byte of the compressed image data changed: the chunk's checksum no longer agrees.
    std::vector<unsigned char> flipped = good;
    flipped[good.size() - 20] ^= 0x5a;
    // Not a PNG file at all.
    const std::vector<unsigned char> garbage(300, 0x42);
    // The signature of a PNG and nothing after it.
    const std::vector<unsigned char> signatureOnly(good.begin(), good.begin() + 8);

    MFBitmapTableTesting::replaceImage(1049, truncated.data(), truncated.size());
    MFBitmapTableTesting::replaceImage(1050, flipped.data(), flipped.size());
    MFBitmapTableTesting::replaceImage(1051, garbage.data(), garbage.size());
    MFBitmapTableTesting::replaceImage(1052, signatureOnly.data(), signatureOnly.size());
    MFBitmapTableTesting::replaceImage(1053, good.data(), 0);
    MFBitmapTable::acquire();
    for (int id = 1049; id <= 1053; ++id)
        EXPECT_EQ(MFBitmapTable::getBitmap(id), nullptr) << "damaged id " << id;
    EXPECT_NE(MFBitmapTable::getBitmap(1048), nullptr);
    EXPECT_NE(MFBitmapTable::getBitmap(1054), nullptr);
    MFBitmapTable::release();

    // Put back, the same ids decode again.
    MFBitmapTableTesting::restoreImages();
    MFBitmapTable::acquire();
    for (int id = 1049; id <= 1053; ++id)
        EXPECT_NE(MFBitmapTable::getBitmap(id), nullptr) << "id " << id;
}

// A file with translucent pixels arrives premultiplied, in cairo's channel order. The file
// is written here with libpng's own writer, so the expectation does not come from our reader.
TEST_F(BitmapTable, TranslucentPixelsArrivePremultipliedInCairoOrder) {
    const unsigned char rgba[] = {255, 0,   0,   128, // red at half strength
                                  10,  200, 30,  255, // an opaque green
                                  90,  60,  240, 0};  // fully clear
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 3;
    image.height = 1;
    image.format = PNG_FORMAT_RGBA;
    png_alloc_size_t size = 0;
    ASSERT_NE(png_image_write_to_memory(&image, nullptr, &size, 0, rgba, 0, nullptr), 0);
    std::vector<unsigned char> file(size);
    ASSERT_NE(png_image_write_to_memory(&image, file.data(), &size, 0, rgba, 0, nullptr), 0);
    file.resize(size);

    MFBitmapTableTesting::replaceImage(1085, file.data(), file.size());
    MFBitmapTable::acquire();
    const CBitmap* bitmap = MFBitmapTable::getBitmap(1085);
    ASSERT_NE(bitmap, nullptr);
    ASSERT_EQ(cairo_image_surface_get_format(bitmap->surface()), CAIRO_FORMAT_ARGB32);
    ASSERT_EQ(bitmap->getWidth(), 3);
    // 255 * 128 / 255 = 128: the colour scaled by its alpha.
    EXPECT_EQ(SkinPixels::at(*bitmap, 0, 0), 0x80800000u);
    EXPECT_EQ(SkinPixels::at(*bitmap, 1, 0), 0xff0ac81eu);
    EXPECT_EQ(SkinPixels::at(*bitmap, 2, 0), 0x00000000u);
}

} // namespace
