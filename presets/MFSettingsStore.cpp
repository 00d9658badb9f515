#include "presets/MFSettingsStore.h"

#include "platform/MFMessageService.h"
#include "platform/MFText.h"
#include "presets/MFFileio.h"
#include "presets/MFPaths.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

char globalProduct[256] = "undefined";

constexpr const char* fileHeader = "# Per-user settings; rewritten whole on every change.\n";

// The longest line the writer can make: kind, space, a name and a value of valueBytes - 1
// bytes each with every byte escaped, and the '='. The reader must take it.
static_assert(2 + 4 * (MFSettingsStore::valueBytes - 1) + 1 <= MFSettingsStore::maxLineBytes);

bool validProductName(const char* name) {
    if (!name || !name[0] || std::strlen(name) > 200)
        return false;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
        return false;
    return std::strchr(name, MFPaths::separator) == nullptr;
}

// Names and values may hold any byte but a newline must not end a line early, and '='
// splits a name from its value, so both are escaped, as is the escape character itself.
void appendEscaped(std::string& out, const std::string& text, bool isName) {
    for (const char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '=':
            out += isName ? "\\=" : "=";
            break;
        default:
            out += c;
        }
    }
}

// Decodes from index up to an unescaped stop character (0: to the end); false on a bad escape.
bool unescape(const std::string& line, std::size_t& index, char stop, std::string& out) {
    while (index < line.size()) {
        const char c = line[index];
        if (stop && c == stop)
            return true;
        ++index;
        if (c != '\\') {
            out += c;
            continue;
        }
        if (index >= line.size())
            return false;
        const char e = line[index++];
        switch (e) {
        case '\\':
            out += '\\';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        case '=':
            out += '=';
            break;
        default:
            return false;
        }
    }
    return stop == 0;
}

bool parseInteger(const std::string& text, int32_t& out) {
    if (text.empty() || text.size() > 12)
        return false;
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end != text.c_str() + text.size())
        return false;
    if (value < INT32_MIN || value > INT32_MAX)
        return false;
    out = int32_t(value);
    return true;
}

} // namespace

MFSettingsStore::MFSettingsStore(std::string configRoot) : rootOverride(std::move(configRoot)) {}

MFSettingsStore::~MFSettingsStore() {
    close();
}

std::string MFSettingsStore::filePath(const char* productName) const {
    if (!validProductName(productName))
        return {};
    const std::string root = rootOverride.empty() ? MFPaths::configHome() : rootOverride;
    const std::string productFolder = MFPaths::vendorFolder(root, productName);
    return productFolder.empty() ? std::string() : productFolder + fileName;
}

bool MFSettingsStore::open(const char* productName) {
    close();
    const std::string path = filePath(productName);
    if (path.empty())
        return false;
    folder = MFPaths::folderOf(path);
    if (!MFFileio::makeFolders(folder))
        return false;
    std::string content;
    const MFFileio::ReadStatus status =
        MFFileio::readSmallFile(path.c_str(), maxFileBytes, content);
    if (status == MFFileio::ReadStatus::ok) {
        parse(content);
    } else if (status != MFFileio::ReadStatus::missing) {
        // Writing now would replace values we never saw, the content path among them.
        readOnly = true;
        if (!reportedUnreadable) {
            reportedUnreadable = true;
            MFMessageService::showMessage(
                "The settings file %s cannot be read. %s runs on its default settings and "
                "leaves the file as it is.",
                path.c_str(), productName);
        }
    }
    opened = true;
    return true;
}

void MFSettingsStore::close() {
    if (opened && collecting)
        commitChanges();
    opened = false;
    readOnly = false;
    collecting = false;
    pending = false;
    entries.clear();
    folder.clear();
}

void MFSettingsStore::beginChanges() {
    if (opened)
        collecting = true;
}

bool MFSettingsStore::commitChanges() {
    collecting = false;
    if (!pending)
        return true;
    pending = false;
    return opened && !readOnly && save();
}

void MFSettingsStore::parse(const std::string& content) {
    std::size_t start = 0;
    while (start < content.size() && entries.size() < maxEntries) {
        // Every entry ends in a newline; a last line without one was cut short.
        const std::size_t end = content.find('\n', start);
        if (end == std::string::npos)
            break;
        // A file edited on another system may end its lines in CR LF. The writer escapes
        // every CR of a value, so a raw one before the newline is never part of it.
        std::size_t length = end - start;
        if (length > 0 && content[end - 1] == '\r')
            --length;
        // A NUL byte cannot come from a C string value: the line is damage.
        if (length >= 3 && length <= maxLineBytes && content[start + 1] == ' ' &&
            std::memchr(content.data() + start, 0, length) == nullptr) {
            const std::string line = content.substr(start, length);
            const char kind = line[0];
            Entry entry;
            std::size_t index = 2;
            bool ok = (kind == 'i' || kind == 's') && unescape(line, index, '=', entry.name) &&
                      !entry.name.empty() && index < line.size();
            std::string value;
            if (ok) {
                ++index; // the '='
                ok = unescape(line, index, 0, value);
            }
            if (ok && kind == 'i') {
                entry.isInteger = true;
                ok = parseInteger(value, entry.integer);
            } else if (ok) {
                ok = value.size() < valueBytes;
                entry.text = std::move(value);
            }
            if (ok) {
                erase(entry.name.c_str()); // a repeated name: the last one counts
                entries.push_back(std::move(entry));
            }
        }
        start = end + 1;
    }
}

const MFSettingsStore::Entry* MFSettingsStore::find(const char* name) const {
    if (!opened || !name)
        return nullptr;
    for (const Entry& entry : entries)
        if (entry.name == name)
            return &entry;
    return nullptr;
}

void MFSettingsStore::erase(const char* name) {
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        if (it->name == name) {
            entries.erase(it);
            return;
        }
    }
}

int32_t MFSettingsStore::getInteger(const char* name, int32_t& out) const {
    const Entry* entry = find(name);
    if (!entry || !entry->isInteger)
        return 0;
    out = entry->integer;
    return 1;
}

int32_t MFSettingsStore::getString(const char* name, char* out, std::size_t capacity) const {
    const Entry* entry = find(name);
    if (!entry || entry->isInteger || !out || capacity == 0)
        return 0;
    mfCopyText(out, capacity < valueBytes ? capacity : valueBytes, entry->text.c_str());
    return 1;
}

int32_t MFSettingsStore::getString(const char* name, std::string& out) const {
    char text[valueBytes];
    if (!getString(name, text, sizeof text))
        return 0;
    out = text;
    return 1;
}

int32_t MFSettingsStore::setInteger(const char* name, int32_t value) {
    if (!name)
        return 0;
    Entry entry;
    entry.name = name;
    entry.isInteger = true;
    entry.integer = value;
    return put(std::move(entry));
}

int32_t MFSettingsStore::setString(const char* name, const char* text) {
    if (!name)
        return 0;
    char cut[valueBytes];
    mfCopyText(cut, sizeof cut, text);
    Entry entry;
    entry.name = name;
    entry.text = cut;
    return put(std::move(entry));
}

int32_t MFSettingsStore::put(Entry entry) {
    if (!opened || readOnly || entry.name.empty() || entry.name.size() >= valueBytes)
        return 0;
    const std::vector<Entry> before = entries;
    erase(entry.name.c_str());
    if (entries.size() >= maxEntries) {
        entries = before;
        return 0;
    }
    entries.push_back(std::move(entry));
    // The reader refuses a file over its cap; such a change is refused here instead.
    if (serialise().size() > maxFileBytes) {
        entries = before;
        return 0;
    }
    if (collecting) {
        pending = true;
        return 1;
    }
    if (!save()) {
        entries = before;
        return 0;
    }
    return 1;
}

std::string MFSettingsStore::serialise() const {
    std::string content = fileHeader;
    for (const Entry& entry : entries) {
        content += entry.isInteger ? "i " : "s ";
        appendEscaped(content, entry.name, true);
        content += '=';
        if (entry.isInteger)
            content += std::to_string(entry.integer);
        else
            appendEscaped(content, entry.text, false);
        content += '\n';
    }
    return content;
}

bool MFSettingsStore::save() const {
    const std::string content = serialise();
    return MFFileio::writeFileAtomically((folder + fileName).c_str(), content.data(),
                                         content.size());
}

void MFSettingsStore::setGlobalProductName(const char* name) {
    mfCopyText(globalProduct, sizeof globalProduct, name && name[0] ? name : "undefined");
}

const char* MFSettingsStore::globalProductName() {
    return globalProduct;
}

int32_t MFSettingsStore::readInteger(const char* name, int32_t& out) {
    MFSettingsStore store;
    store.open(globalProduct);
    return store.getInteger(name, out);
}

int32_t MFSettingsStore::readString(const char* name, char* out, std::size_t capacity) {
    MFSettingsStore store;
    store.open(globalProduct);
    return store.getString(name, out, capacity);
}

int32_t MFSettingsStore::writeInteger(const char* name, int32_t value) {
    MFSettingsStore store;
    store.open(globalProduct);
    return store.setInteger(name, value);
}

int32_t MFSettingsStore::writeString(const char* name, const char* text) {
    MFSettingsStore store;
    store.open(globalProduct);
    return store.setString(name, text);
}
