#include "TableTestSupport.h"

#include "pattern/MFTableXY.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

// Seeds for the table fuzz targets: bodies from our own writers, the older forms
// written out by hand, and truncations. With CADENZOID_WRITE_CORPUS=1 they are
// (re)written; otherwise the committed files must match what the writers produce.
namespace {

using Words = std::vector<uint32_t>;

std::vector<std::pair<std::string, Words>> tableSeeds() {
    TableOwner o;
    MFTable t(o.info, 32);
    for (int i = 0; i < 32; ++i)
        t.setValue(i, static_cast<float>(i % 7) / 7.0f);
    const Words valid = writeWords(t);
    return {{"seed_valid", valid},
            {"seed_valid_cut20", Words(valid.begin(), valid.begin() + 20)},
            {"seed_nomarker", {0, 0x41200000u, 0, 3, 0x3F000000u, 0x3F800000u, 0}},
            {"seed_hugecount", {0, 0x3F800000u, 0, 0xFFCB4286u, 1, 0x7FFFFFFFu}}};
}

std::vector<std::pair<std::string, Words>> tableXYSeeds() {
    TableOwner o;
    MFTableXY t(o.info, 32);
    t.setRowCount(12);
    t.setRange(0.0f, 12.0f);
    for (int r = 0; r < 12; ++r)
        for (int c = 0; c < 32; ++c)
            t.setRawOnRow(c, r, static_cast<float>((r + c) % 13));
    const Words valid = writeWords(t);
    return {{"seed_valid", valid},
            {"seed_valid_cut200", Words(valid.begin(), valid.begin() + 200)},
            {"seed_v1001",
             {0x27BAD581u, 1001, 0, 0x3F800000u, 0, 2, 2, 0x3F000000u, 0, 0, 0, 2, 0x00006261u}},
            {"seed_v1000", {0x27BAD581u, 1000, 0, 0x3F800000u, 0, 2, 1, 0x3F000000u, 0}},
            {"seed_stale", {0x3ECCCCCDu, 0x3F800000u, 0, 0xFFCB4286u, 1, 2, 0, 0}},
            {"seed_plain", {0, 0x3F800000u, 0, 2, 0x3F000000u, 0}},
            {"seed_hugerows", {0x27BAD581u, 1002, 0, 0x3F800000u, 0, 32, 0x40000000u}}};
}

void checkOrWrite(const std::string& target,
                  const std::vector<std::pair<std::string, Words>>& seeds) {
    const char* source = std::getenv("CADENZOID_SOURCE");
    if (source == nullptr)
        GTEST_SKIP() << "CADENZOID_SOURCE not set";
    const bool write = std::getenv("CADENZOID_WRITE_CORPUS") != nullptr;
    for (const auto& [name, words] : seeds) {
        const std::string path = std::string(source) + "/tests/fuzz/corpus/" + target + "/" + name;
        const std::string bytes(reinterpret_cast<const char*>(words.data()), words.size() * 4);
        if (write) {
            std::ofstream(path, std::ios::binary) << bytes;
            continue;
        }
        std::ifstream in(path, std::ios::binary);
        const std::string stored((std::istreambuf_iterator<char>(in)), {});
        EXPECT_EQ(stored, bytes) << path << " is stale; regenerate the corpus";
    }
}

TEST(TableFuzzCorpus, SeedsMatchTheWriters) {
    checkOrWrite("TableFuzz", tableSeeds());
    checkOrWrite("TableXYFuzz", tableXYSeeds());
}

} // namespace
