#pragma once

#include <string>

// The process-wide data all instances share: the product's name and version text,
// told once when the first instance is created (the settings store reads them).
struct MFPluginData {
    std::string productName;
    std::string versionText;

    static MFPluginData& shared();
};
