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

TEST_F(BitmapTable, TwoEditorsShareOneDecodeAndTheLastCloseFreesIt) {
    ASSERT_EQ(MFBitmapTable::useCount(), 0);
    EXPECT_EQ(MFBitmapTable::getBitmap(1000), nullptr)
        << "nothing is decoded before the first open";

    MFBitmapTable::acquire();
    std::vector<CBitmap*> first;
    for (int id = firstId; id <= lastId; ++id)
        first.push_back(MFBitmapTable::getBitmap(id));

    // A second editor opening does not decode again: the very same bitmaps.
    MFBitmapTable::acquire();
    EXPECT_EQ(MFBitmapTable::useCount(), 2);
    for (int id = firstId; id <= lastId; ++id)
        EXPECT_EQ(MFBitmapTable::getBitmap(id), first[id - firstId]) << "id " << id;

    // The first editor closing leaves the second one's bitmaps in place and drawable.
    MFBitmapTable::release();
    EXPECT_EQ(MFBitmapTable::useCount(), 1);
    for (int id = firstId; id <= lastId; ++id) {
        CBitmap* bitmap = MFBitmapTable::getBitmap(id);
        ASSERT_EQ(bitmap, first[id - firstId]) << "id " << id;
        ASSERT_NE(bitmap, nullptr) << "id " << id;
        EXPECT_TRUE(bitmap->isLoaded());
        EXPECT_EQ(cairo_surface_status(bitmap->surface()), CAIRO_STATUS_SUCCESS);
    }

    // The last close frees them (an ASan build checks that nothing leaks).
    MFBitmapTable::release();
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    for (int id = firstId; id <= lastId; ++id)
        EXPECT_EQ(MFBitmapTable::getBitmap(id), nullptr) << "id " << id;

    // A close without an open changes nothing, and a later open decodes afresh.
    MFBitmapTable::release();
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    MFBitmapTable::acquire();
    EXPECT_NE(MFBitmapTable::getBitmap(1000), nullptr);
}

TEST_F(BitmapTable, IdsOutsideTheSkinGiveNull) {
    MFBitmapTable::acquire();
    EXPECT_EQ(MFBitmapTable::getBitmap(999), nullptr);
    EXPECT_EQ(MFBitmapTable::getBitmap(1189), nullptr);
    EXPECT_EQ(MFBitmapTable::getBitmap(0), nullptr) << "the layout's id for no bitmap";
    EXPECT_EQ(MFBitmapTable::getBitmap(-1), nullptr);
    EXPECT_NE(MFBitmapTable::getBitmap(1000), nullptr);
    EXPECT_NE(MFBitmapTable::getBitmap(1188), nullptr);
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
