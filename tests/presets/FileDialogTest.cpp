#include "PresetTestSupport.h"

#include "platform/MFFileDialog.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using presettest::ScopedEnv;
using presettest::TempFolder;

namespace {

// A stand-in for the desktop tool: records its arguments one per line and answers as
// the test tells it through a file. It runs without a shell between us and it, so the
// arguments it sees are exactly the ones we passed.
void installTool(const TempFolder& temp, const std::string& name) {
    const std::string bin = temp.folder("bin");
    // Shell built-ins only: the tests narrow PATH down to the stand-in tools.
    const std::string script = "#!/bin/sh\n"
                               "for a in \"$@\"; do printf '%s\\n' \"$a\"; done > '" +
                               temp.path("args") +
                               "'\n"
                               "while IFS= read -r line; do printf '%s\\n' \"$line\"; done < '" +
                               temp.path("answer") +
                               "'\n"
                               "IFS= read -r status < '" +
                               temp.path("status") + "'\nexit \"$status\"\n";
    presettest::writeText(bin + name, script);
    ::chmod((bin + name).c_str(), 0755);
}

void answer(const TempFolder& temp, const std::string& output, int status) {
    presettest::writeText(temp.path("answer"), output);
    presettest::writeText(temp.path("status"), std::to_string(status));
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        out.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return out;
}

const std::vector<MFFileDialog::FileType> presetType{{"Preset File", "cdz"}};

} // namespace

TEST(FileDialog, ZenityGetsAnArgumentVectorAndItsAnswerIsThePath) {
    TempFolder temp;
    installTool(temp, "zenity");
    installTool(temp, "kdialog"); // zenity wins when both exist
    ScopedEnv path("PATH", (temp.path("bin") + ":/usr/bin:/bin").c_str());
    ScopedEnv display("DISPLAY", ":42");
    // Quotes, a dollar sign and a semicolon would all misbehave under a shell.
    const std::string folder = "/tmp/it's \"$HOME\"; rm -rf x/";
    answer(temp, "/chosen/My Preset.cdz\n", 0);
    MFFileDialog dialog;
    std::string chosen;
    ASSERT_EQ(dialog.run(MFFileDialog::Mode::save, "Save File", folder, presetType, chosen),
              MFFileDialog::Result::chosen);
    EXPECT_EQ(chosen, "/chosen/My Preset.cdz");
    EXPECT_EQ(lines(presettest::readText(temp.path("args"))),
              (std::vector<std::string>{"--file-selection", "--title=Save File", "--save",
                                        "--confirm-overwrite", "--filename=" + folder,
                                        "--file-filter=Preset File | *.cdz"}));

    answer(temp, "", 1);
    EXPECT_EQ(
        dialog.run(MFFileDialog::Mode::open, "Choose a file to load", folder, presetType, chosen),
        MFFileDialog::Result::cancelled);
    EXPECT_EQ(chosen, "");
    // A tool that fails in another way means there is no dialog to be had.
    answer(temp, "", 5);
    EXPECT_EQ(dialog.run(MFFileDialog::Mode::open, "t", folder, presetType, chosen),
              MFFileDialog::Result::unavailable);
    // Output longer than a path buffer is not taken, however it ends.
    answer(temp, std::string(3000, 'p') + "\n", 0);
    EXPECT_NE(dialog.run(MFFileDialog::Mode::open, "t", folder, presetType, chosen),
              MFFileDialog::Result::chosen);
    EXPECT_EQ(chosen, "");
}

TEST(FileDialog, KdialogIsTheFallback) {
    TempFolder temp;
    installTool(temp, "kdialog");
    ScopedEnv path("PATH", temp.path("bin").c_str());
    ScopedEnv display("DISPLAY", nullptr);
    ScopedEnv wayland("WAYLAND_DISPLAY", "wayland-0");
    answer(temp, "/chosen/a.cdz\n", 0);
    MFFileDialog dialog;
    std::string chosen;
    ASSERT_EQ(
        dialog.run(MFFileDialog::Mode::open, "Choose a file to load", "/p/", presetType, chosen),
        MFFileDialog::Result::chosen);
    EXPECT_EQ(chosen, "/chosen/a.cdz");
    EXPECT_EQ(lines(presettest::readText(temp.path("args"))),
              (std::vector<std::string>{"--title", "Choose a file to load", "--getopenfilename",
                                        "/p/", "*.cdz|Preset File"}));
}

TEST(FileDialog, WithoutADisplayOrAToolThereIsNoDialog) {
    TempFolder temp;
    installTool(temp, "zenity");
    answer(temp, "/chosen/a.cdz\n", 0);
    MFFileDialog dialog;
    std::string chosen = "stale";
    {
        ScopedEnv path("PATH", temp.path("bin").c_str());
        ScopedEnv display("DISPLAY", "");
        ScopedEnv wayland("WAYLAND_DISPLAY", nullptr);
        EXPECT_EQ(dialog.run(MFFileDialog::Mode::open, "t", "/", presetType, chosen),
                  MFFileDialog::Result::unavailable);
        EXPECT_EQ(chosen, "");
    }
    // Relative PATH entries are never searched: they would run whatever lies in the
    // current folder.
    ScopedEnv path("PATH", (".:" + temp.path("nothing")).c_str());
    ScopedEnv display("DISPLAY", ":42");
    EXPECT_EQ(dialog.run(MFFileDialog::Mode::open, "t", "/", presetType, chosen),
              MFFileDialog::Result::unavailable);
    EXPECT_FALSE(presettest::exists(temp.path("args")));
}
