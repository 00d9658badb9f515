// Draws the skin's 189 bitmaps with cairo and writes them as PNG files and as a C++ source
// that embeds them in the plug-in.
//
//   cadenzoid-skingen --png-dir DIR --embed FILE.cpp [--sheet FILE.png]
//                     [--preview FILE.png [--effect N] [--scale N] [--area X,Y,W,H]]
//   cadenzoid-skingen --crop IN.png OUT.png X,Y,W,H,SCALE

#include "SkinFamilies.h"
#include "SkinTable.h"
#include "SkinWriter.h"

#include <cairo.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Options {
    std::string pngDir;
    std::string embed;
    std::string sheet;
    std::string preview;
    int effect = 0;
    int scale = 1;
    PreviewArea area;
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (i + 1 >= argc)
            throw std::runtime_error("missing value after " + option);
        const std::string value = argv[++i];
        if (option == "--png-dir")
            options.pngDir = value;
        else if (option == "--embed")
            options.embed = value;
        else if (option == "--sheet")
            options.sheet = value;
        else if (option == "--preview")
            options.preview = value;
        else if (option == "--effect")
            options.effect = std::atoi(value.c_str());
        else if (option == "--scale")
            options.scale = std::atoi(value.c_str());
        else if (option == "--area" &&
                 std::sscanf(value.c_str(), "%d,%d,%d,%d", &options.area.x, &options.area.y,
                             &options.area.width, &options.area.height) == 4)
            continue;
        else
            throw std::runtime_error("unknown option " + option);
    }
    if (options.effect < 0 || options.effect > 13 || options.scale < 1 || options.scale > 4)
        throw std::runtime_error("--effect takes 0..13 and --scale 1..4");
    return options;
}

} // namespace

// Writes part of a PNG file enlarged without smoothing, for looking at pixels.
int crop(const char* from, const char* to, const char* area) {
    int x = 0, y = 0, width = 0, height = 0, scale = 1;
    if (std::sscanf(area, "%d,%d,%d,%d,%d", &x, &y, &width, &height, &scale) != 5)
        return 2;
    cairo_surface_t* source = cairo_image_surface_create_from_png(from);
    cairo_surface_t* out =
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, width * scale, height * scale);
    cairo_t* cr = cairo_create(out);
    cairo_scale(cr, scale, scale);
    cairo_set_source_surface(cr, source, -x, -y);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_paint(cr);
    cairo_destroy(cr);
    const cairo_status_t status = cairo_surface_write_to_png(out, to);
    cairo_surface_destroy(out);
    cairo_surface_destroy(source);
    return status == CAIRO_STATUS_SUCCESS ? 0 : 1;
}

int main(int argc, char** argv) {
    if (argc == 5 && std::strcmp(argv[1], "--crop") == 0)
        return crop(argv[2], argv[3], argv[4]);
    try {
        const Options options = parse(argc, argv);
        const std::vector<BitmapEntry> table = skinTable();
        std::vector<DrawnBitmap> drawn;
        drawn.reserve(table.size());
        for (const BitmapEntry& entry : table) {
            // Opaque 24-bit pictures: transparency, where a bitmap has any, is the key colour.
            cairo_surface_t* surface =
                cairo_image_surface_create(CAIRO_FORMAT_RGB24, entry.width, entry.height);
            cairo_t* cr = cairo_create(surface);
            drawBitmap(cr, entry);
            const cairo_status_t status = cairo_status(cr);
            cairo_destroy(cr);
            if (status != CAIRO_STATUS_SUCCESS)
                throw std::runtime_error("drawing bitmap " + std::to_string(entry.id) + ": " +
                                         cairo_status_to_string(status));
            cairo_surface_flush(surface);
            drawn.push_back({&entry, surface, encodePng(surface)});
        }
        if (!options.pngDir.empty())
            for (const DrawnBitmap& bitmap : drawn)
                writeFile(options.pngDir + "/" + std::to_string(bitmap.entry->id) + ".png",
                          bitmap.png);
        if (!options.embed.empty())
            writeEmbeddedSource(options.embed, drawn);
        if (!options.sheet.empty())
            writeContactSheet(options.sheet, drawn);
        if (!options.preview.empty())
            writePreview(options.preview, drawn, options.effect, options.scale, options.area);
        for (DrawnBitmap& bitmap : drawn)
            cairo_surface_destroy(bitmap.surface);
        cairo_debug_reset_static_data();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cadenzoid-skingen: %s\n", error.what());
        return 1;
    }
    return 0;
}
