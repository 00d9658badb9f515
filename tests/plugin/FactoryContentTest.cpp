// The factory content as the state reader and writer see it: every file, whole state or
// one effect, read into a plug-in and written out again gives back the same words. A
// difference means the reader lost or changed something the file holds.

#include "engine/MFUniClient.h"
#include "pattern/MFChunk.h"
#include "presets/MFPresetCategory.h"
#include "presets/PresetTestSupport.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using presettest::ScopedEnv;
using presettest::TempFolder;

namespace {

namespace fs = std::filesystem;

fs::path factoryContent() {
    return fs::path(CADENZOID_PLUGIN_PATH).parent_path() / "content";
}

std::vector<uint32_t> wordsOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    std::vector<uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

// The category is the content folder's: X-Loop and Loop share one extension.
int32_t categoryOf(const fs::path& file) {
    const std::string top = fs::relative(file, factoryContent()).begin()->string();
    for (const MFPresetCategory& c : MFPresetCategory::makeList())
        if (c.name == top && file.extension() == std::string(".") + c.extension)
            return c.number;
    return -1;
}

class FactoryContent : public ::testing::Test {
protected:
    TempFolder home;
    ScopedEnv config{"XDG_CONFIG_HOME", home.folder("config").c_str()};
    ScopedEnv data{"XDG_DATA_HOME", home.folder("data").c_str()};
};

TEST_F(FactoryContent, EveryFileReadsBackWordForWord) {
    ASSERT_TRUE(fs::exists(factoryContent() / "Presets" / "default.cdz"))
        << "the factory content is built by the cadenzoid-content target";
    int files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(factoryContent())) {
        if (!entry.is_regular_file())
            continue;
        const int32_t category = categoryOf(entry.path());
        ASSERT_GE(category, 0) << entry.path();
        SCOPED_TRACE(entry.path().string());
        const std::vector<uint32_t> file = wordsOf(entry.path());
        ASSERT_GT(file.size(), std::size_t(MFChunk::headerWords));

        // A fresh plug-in each time: nothing of an earlier file may help.
        FakeHost host;
        auto* client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        MFChunk in;
        in.attachCopy(file.data(), file.size() * 4);
        // As a host recall, so that the program and folder words come back too.
        ASSERT_TRUE(client->readState(in, category, true, true, false));

        MFChunk out;
        out.beginMeasure(in.tempo, in.sampleRate);
        client->writeState(out, category);
        out.allocateMeasured();
        client->writeState(out, category);
        const std::vector<uint32_t> back(out.data, out.data + out.capacity());
        ASSERT_EQ(back.size(), file.size());
        for (std::size_t w = 0; w < file.size(); ++w)
            ASSERT_EQ(back[w], file[w]) << "word " << w;
        ++files;
    }
    EXPECT_GE(files, 40) << "the whole factory content was walked";
}

} // namespace
