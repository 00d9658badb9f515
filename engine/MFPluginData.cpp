#include "engine/MFPluginData.h"

MFPluginData& MFPluginData::shared() {
    static MFPluginData data;
    return data;
}
