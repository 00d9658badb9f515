#include "editor/controls/MFOptionMenu.h"

#include "editor/controls/MFFrame.h"
#include "editor/controls/MFOptionMenuExtraCallBack.h"
#include "editor/controls/MFOptionMenuUserEntryLong.h"
#include "editor/controls/MFScrollbarY.h"
#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"
#include "platform/MFDebugOutput.h"
#include "presets/MFFileio.h"
#include "presets/MFPaths.h"

#include <algorithm>
#include <cairo.h>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {
constexpr int32_t arrowWidth = 7;
constexpr int32_t numberWidth = 16;
constexpr int32_t titlePadding = 8;
constexpr int32_t shadowRings = 4;
constexpr int32_t closedTextInset = 16; // the caption's ends hold the step arrows
constexpr const char* fallbackCaption = "MENU";

// Names compared as the library sorts them: a to z as A to Z, then byte by byte.
bool lessByUpperCase(const std::string& a, const std::string& b) {
    const std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        auto upper = [](unsigned char c) { return c >= 'a' && c <= 'z' ? c - 32 : c; };
        const int ca = upper(static_cast<unsigned char>(a[i]));
        const int cb = upper(static_cast<unsigned char>(b[i]));
        if (ca != cb)
            return ca < cb;
    }
    return a.size() < b.size();
}

// A context on a scratch surface, to measure text before anything is drawn.
class MeasureContext {
public:
    MeasureContext() : surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1)) {
        context = std::make_unique<CDrawContext>(surface);
    }
    ~MeasureContext() {
        context.reset();
        cairo_surface_destroy(surface);
    }
    MeasureContext(const MeasureContext&) = delete;
    MeasureContext& operator=(const MeasureContext&) = delete;
    CDrawContext& get() { return *context; }

private:
    cairo_surface_t* surface;
    std::unique_ptr<CDrawContext> context;
};
} // namespace

MFOptionMenu::MFOptionMenu(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                           CBitmap* captionBitmap, CBitmap* panelBitmap, int32_t menuStyle,
                           CBitmap* highlightBitmap)
    : MFControl(rect, l, t, owner), caption(captionBitmap), openBackground(panelBitmap),
      rowHighlight(highlightBitmap), closedRect(rect), style(menuStyle) {
    for (CBitmap* bitmap : {caption, openBackground, rowHighlight})
        if (bitmap)
            bitmap->remember();
    scrollBar = std::make_unique<MFScrollbarY>(CRect(), this, t, owner);
    scrollBar->setTargets(nullptr, &scrollPos);
    scrollBar->setVisible(false);
    entries.reserve(growBy);
}

MFOptionMenu::~MFOptionMenu() {
    // A modal menu gives its place back in MFControl's destructor; nobody is told of a
    // close that only the teardown made.
    for (CBitmap* bitmap : {caption, openBackground, rowHighlight, arrow})
        if (bitmap)
            bitmap->forget();
}

void MFOptionMenu::setArrowBitmap(CBitmap* bitmap) {
    if (bitmap)
        bitmap->remember();
    if (arrow)
        arrow->forget();
    arrow = bitmap;
}

// --- Lines -----------------------------------------------------------------------------

int32_t MFOptionMenu::insertLine(MFOptionMenuEntryInfo&& line, int32_t index) {
    if (int32_t(entries.size()) >= maxLines)
        return 0;
    if (entries.size() == entries.capacity())
        entries.reserve(entries.size() + growBy);
    if (index < 0 || index >= int32_t(entries.size()))
        entries.push_back(std::move(line));
    else
        entries.insert(entries.begin() + index, std::move(line));
    setDirty();
    return 1;
}

int32_t MFOptionMenu::addEntry(const char* text, int32_t index, int32_t flags) {
    MFOptionMenuEntryInfo line;
    line.title = text ? text : "";
    line.enabled = !(flags & (entryDisabled | entrySeparator));
    line.separator = (flags & entrySeparator) != 0;
    return insertLine(std::move(line), index);
}

int32_t MFOptionMenu::addSubMenu(MFOptionMenu* menu, const char* title) {
    if (!menu)
        return 0;
    MFOptionMenuEntryInfo line;
    line.title = title ? title : "";
    menu->parentMenu = this;
    menu->setListener(this);
    line.subMenu.reset(menu);
    if (!insertLine(std::move(line), -1))
        return 0; // the line, and with it the menu, went
    return 1;
}

int32_t MFOptionMenu::addUserEntryLong(const char* text, int32_t index, int32_t flags,
                                       int32_t number) {
    MFOptionMenuEntryInfo line;
    line.title = text ? text : "";
    line.enabled = !(flags & (entryDisabled | entrySeparator));
    line.separator = (flags & entrySeparator) != 0;
    line.userEntry = std::make_unique<MFOptionMenuUserEntryLong>(number);
    return insertLine(std::move(line), index);
}

int32_t MFOptionMenu::getCurrentIndex() const {
    const int32_t count = int32_t(entries.size());
    if (count == 0 || !(value >= 0.0f))
        return count == 0 ? -1 : 0;
    if (!(style & styleFlatValue))
        return std::min(count - 1, int32_t(value));
    // Walk the flat count back to the line it falls in.
    int32_t remaining = int32_t(value);
    for (int32_t i = 0; i < count; ++i) {
        const int32_t span =
            entries[std::size_t(i)].subMenu ? entries[std::size_t(i)].subMenu->getNbEntries() : 1;
        if (remaining < span)
            return i;
        remaining -= span;
    }
    return count - 1;
}

bool MFOptionMenu::getCurrentTitle(std::string& text, bool withSubMenu) const {
    const int32_t index = getCurrentIndex();
    if (index < 0) {
        text.clear();
        return false;
    }
    const MFOptionMenuEntryInfo& line = entries[std::size_t(index)];
    text = line.title;
    if (withSubMenu && line.subMenu) {
        std::string inner;
        if (line.subMenu->getCurrentTitle(inner, true))
            text += " " + inner;
    }
    return true;
}

bool MFOptionMenu::getEntry(int32_t index, std::string& text) const {
    if (index < 0 || index >= int32_t(entries.size()))
        return false;
    text = entries[std::size_t(index)].title;
    return true;
}

bool MFOptionMenu::setEntryTitle(int32_t index, const char* text) {
    if (index < 0 || index >= int32_t(entries.size()))
        return false;
    entries[std::size_t(index)].title = text ? text : "";
    setDirty();
    return true;
}

bool MFOptionMenu::setEntryEnabled(int32_t index, bool enabled) {
    if (index < 0 || index >= int32_t(entries.size()))
        return false;
    entries[std::size_t(index)].enabled = enabled && !entries[std::size_t(index)].separator;
    return true;
}

void MFOptionMenu::removeAllEntries() {
    if (subOpen)
        closeSubMenu();
    entries.clear();
    lineFolders.clear();
    hotLine = -1;
    fileString = noFile;
    setDirty();
}

int32_t MFOptionMenu::findEntry(const char* text) const {
    if (!text)
        return -1;
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (entries[i].title == text)
            return int32_t(i);
    return -1;
}

MFOptionMenu* MFOptionMenu::getSubMenu(int32_t index) const {
    const MFOptionMenuEntryInfo* line = getEntryInfo(index);
    return line ? line->subMenu.get() : nullptr;
}

const MFOptionMenuEntryInfo* MFOptionMenu::getEntryInfo(int32_t index) const {
    if (index < 0 || index >= int32_t(entries.size()))
        return nullptr;
    return &entries[std::size_t(index)];
}

int32_t MFOptionMenu::flatIndexOf(int32_t line) const {
    int32_t flat = 0;
    for (int32_t i = 0; i < line && i < int32_t(entries.size()); ++i)
        flat +=
            entries[std::size_t(i)].subMenu ? entries[std::size_t(i)].subMenu->getNbEntries() : 1;
    return flat;
}

// --- Browsers --------------------------------------------------------------------------

void MFOptionMenu::fillPresets(const char* folderPath, const char* fileExtension) {
    if (!(style & stylePresetBrowser))
        return;
    fillFolder(folderPath, fileExtension, depth);
}

void MFOptionMenu::setFactoryFolder(const char* folderPath) {
    factoryPath = folderPath ? folderPath : "";
    if (!factoryPath.empty())
        MFPaths::addTrailingSeparator(factoryPath);
}

void MFOptionMenu::fillFolder(const char* folderPath, const char* fileExtension, int32_t level) {
    busy = true;
    depth = level;
    if (folderPath) {
        path.assign(folderPath, strnlen(folderPath, maxPathBytes - 2));
        MFPaths::addTrailingSeparator(path);
    }
    const float kept = value;
    removeAllEntries();
    if (style & styleSelectFolder)
        addEntry(selectFolderTitle);
    if (style & styleSavePreset)
        addEntry(savePresetTitle);
    if (style & styleLoadPreset)
        addEntry(loadPresetTitle);
    if (style & styleHeader)
        addEntry(headerTitle, -1, entryDisabled);
    extension = fileExtension ? fileExtension : "";

    // The factory folder first, the user's second: a user's file replaces a factory one of
    // the same name, and folders of the same name become one sub-menu.
    std::vector<std::string> folders;
    std::vector<std::pair<std::string, std::string>> files; // name, folder it lies in
    std::vector<std::string> factoryFolders;
    const std::string tail = "." + extension;
    const bool withFolders = (style & styleSubFolders) && depth < maxFolderDepth;
    for (const std::string* root : {&factoryPath, &path}) {
        if (root->empty() || (root == &factoryPath && factoryPath == path))
            continue;
        MFFileio listing;
        listing.list(*root, withFolders, true);
        for (const MFFileio::Entry& entry : listing.entries()) {
            if (entry.isFolder) {
                if (root == &factoryPath)
                    factoryFolders.push_back(entry.name);
                if (std::find(folders.begin(), folders.end(), entry.name) == folders.end())
                    folders.push_back(entry.name);
            } else if (entry.name.size() > tail.size() &&
                       entry.name.compare(entry.name.size() - tail.size(), tail.size(), tail) ==
                           0) {
                const std::string name = entry.name.substr(0, entry.name.size() - tail.size());
                auto same = std::find_if(files.begin(), files.end(),
                                         [&](const auto& f) { return f.first == name; });
                if (same != files.end())
                    same->second = *root;
                else
                    files.emplace_back(name, *root);
            }
        }
    }
    std::sort(folders.begin(), folders.end(), lessByUpperCase);
    std::sort(files.begin(), files.end(),
              [](const auto& a, const auto& b) { return lessByUpperCase(a.first, b.first); });

    for (const std::string& name : folders) {
        // The sub-folder flag passes down, so that the whole tree is read, to a depth cap.
        auto sub = std::make_unique<MFOptionMenu>(closedRect, this, tag, mfFrame, nullptr, nullptr,
                                                  subFolderStyle | (style & styleSubFolders));
        sub->setTextSize(textSize);
        sub->setFont(font);
        sub->fontSize = fontSize;
        sub->setColours(fillColour, hiColour, lineTextColour, disabledColour, borderColour);
        sub->setScrollColours(scrollBack, scrollThumb);
        sub->maxWidth = maxWidth;
        sub->minWidth = minWidth;
        sub->offsetY = -textSize;
        sub->parentMenu = this;
        if (std::find(factoryFolders.begin(), factoryFolders.end(), name) != factoryFolders.end())
            sub->setFactoryFolder((factoryPath + name).c_str());
        sub->fillFolder((path + name).c_str(), extension.c_str(), depth + 1);
        if (!addSubMenu(sub.release(), name.c_str()))
            break;
    }
    lineFolders.assign(std::size_t(getNbEntries()), std::string());
    for (const auto& [name, folder] : files) {
        if (!addEntry(name.c_str()))
            break;
        lineFolders.resize(std::size_t(getNbEntries()));
        if (folder != path)
            lineFolders.back() = folder;
    }
    value = std::min(kept, float(std::max(0, getNbEntries() - 1)));
    scrollPos = 0.0f;
    busy = false;
    setDirty();
}

MFOptionMenu::FixedLine MFOptionMenu::fixedLineAt(int32_t index) const {
    if (!(style & stylePresetBrowser) || index < 0)
        return FixedLine::none;
    const std::pair<int32_t, FixedLine> order[] = {{styleSelectFolder, FixedLine::selectFolder},
                                                   {styleSavePreset, FixedLine::savePreset},
                                                   {styleLoadPreset, FixedLine::loadPreset},
                                                   {styleHeader, FixedLine::header}};
    int32_t place = 0;
    for (const auto& [flag, kind] : order) {
        if (!(style & flag))
            continue;
        if (place == index)
            return kind;
        ++place;
    }
    return FixedLine::none;
}

MFOptionMenu::FixedLine MFOptionMenu::chosenFixedLine() const {
    if (fileString != noFile)
        return FixedLine::none;
    return fixedLineAt(getCurrentIndex());
}

bool MFOptionMenu::getCurrentPath(std::string& out, const char* fileExtension) const {
    out.clear();
    if (!(style & stylePresetBrowser))
        return false;
    if ((style & styleSubFolders) && fileString != noFile) {
        out = fileString;
        return true;
    }
    const int32_t index = getCurrentIndex();
    if (index < 0 || fixedLineAt(index) != FixedLine::none || entries[std::size_t(index)].subMenu)
        return false;
    char joined[maxPathBytes];
    const std::string& folder =
        std::size_t(index) < lineFolders.size() && !lineFolders[std::size_t(index)].empty()
            ? lineFolders[std::size_t(index)]
            : path;
    std::snprintf(joined, sizeof joined, "%s%s", folder.c_str(),
                  entries[std::size_t(index)].title.c_str());
    out = joined;
    std::replace(out.begin(), out.end(), '\\', MFPaths::separator);
    const char* ext = fileExtension ? fileExtension : extension.c_str();
    if (*ext)
        out += std::string(".") + ext;
    return true;
}

bool MFOptionMenu::selectNeighbour(bool forward) {
    // Every file of the tree in the order shown: the menu that holds it and its line.
    struct Place {
        MFOptionMenu* menu;
        int32_t line;
    };
    std::vector<Place> places;
    auto collect = [&places](MFOptionMenu* menu, auto&& self) -> void {
        for (int32_t i = 0; i < menu->getNbEntries(); ++i) {
            const MFOptionMenuEntryInfo& line = menu->entries[std::size_t(i)];
            if (line.subMenu)
                self(line.subMenu.get(), self);
            else if (line.enabled && menu->fixedLineAt(i) == FixedLine::none)
                places.push_back({menu, i});
        }
    };
    collect(this, collect);
    if (places.empty())
        return false;

    const int32_t count = int32_t(places.size());
    int32_t found = -1;
    const bool named = externalName && !externalName->empty() && *externalName != "Empty";
    for (int32_t i = 0; i < count && named && found < 0; ++i)
        if (places[std::size_t(i)].menu->entries[std::size_t(places[std::size_t(i)].line)].title ==
            *externalName)
            found = i;
    int32_t next;
    if (found < 0)
        next = forward ? 0 : count - 1;
    else
        next = ((found + (forward ? 1 : -1)) % count + count) % count;

    // The choice travels up as a choice made in the sub-menu would.
    const Place target = places[std::size_t(next)];
    target.menu->value = float(target.line);
    target.menu->fileString = noFile;
    for (MFOptionMenu* child = target.menu; child != this && child->parentMenu;
         child = child->parentMenu) {
        MFOptionMenu* parent = child->parentMenu;
        int32_t line = 0;
        while (line < parent->getNbEntries() && parent->getSubMenu(line) != child)
            ++line;
        child->getCurrentPath(parent->fileString, extension.c_str());
        parent->value = (parent->style & styleFlatValue)
                            ? float(parent->flatIndexOf(line)) + child->value
                            : float(line);
    }
    if (target.menu == this)
        fileString = noFile;
    setDirty();
    return true;
}

void MFOptionMenu::stepCommand(int32_t direction) {
    if (style & styleExternalName)
        return;
    const int32_t count = getNbEntries();
    if (count == 0)
        return;
    // Past the last line the value comes back to the first line after the save and load
    // lines, which may be the header.
    const int32_t wrapTo = ((style & stylePresetBrowser) && (style & styleSavePreset) ? 1 : 0) +
                           ((style & stylePresetBrowser) && (style & styleLoadPreset) ? 1 : 0);
    int32_t line = int32_t(value) + (direction > 0 ? 1 : -1);
    if (line >= count)
        line = wrapTo;
    else if (line < 0)
        line = count - 1;
    value = float(line);
    fileString = noFile;
    if (listener)
        listener->valueChanged(this);
    selectNeighbour(direction > 0);
    setDirty();
}

// --- Values ----------------------------------------------------------------------------

void MFOptionMenu::setValue(float v) {
    if (v != value)
        setDirty();
    CControl::setValue(v);
}

void MFOptionMenu::bind(const MFRelaxed<float>* bound, float scale) {
    boundValue = bound;
    boundScale = scale > 0.0f ? scale : 1.0f;
}

void MFOptionMenu::setWidthLimits(int32_t minimum, int32_t maximum) {
    minWidth = std::max(0, minimum);
    maxWidth = std::max(0, maximum);
}

void MFOptionMenu::setOpenOffset(int32_t dx, int32_t dy) {
    offsetX = dx;
    offsetY = dy;
}

void MFOptionMenu::setMargins(int32_t top, int32_t bottom, int32_t left, int32_t right) {
    marginTop = top;
    marginBottom = bottom;
    marginLeft = left;
    marginRight = right;
}

void MFOptionMenu::setColours(CColor fill, CColor highlight, CColor text, CColor disabled,
                              CColor border) {
    fillColour = fill;
    hiColour = highlight;
    lineTextColour = text;
    disabledColour = disabled;
    borderColour = border;
}

void MFOptionMenu::setScrollColours(CColor back, CColor thumb) {
    scrollBack = back;
    scrollThumb = thumb;
    scrollBar->setColours(back, borderColour, thumb);
}

void MFOptionMenu::setScrollPos(float position) {
    scrollPos = std::clamp(position, 0.0f, 1.0f);
    invalidPanel();
}

void MFOptionMenu::onIdle() {
    MFControl::onIdle();
    if (busy || open)
        return;
    if (boundValue) {
        const float bound = boundValue->load();
        if (bound >= 0.0f && bound < float(maxLines) * boundScale) {
            // To the nearest line: the routing's scales are a little above the fractions.
            const float line = float(int32_t(bound / boundScale + 0.5f));
            if (line != value) {
                value = line;
                setDirty();
            }
        }
    }
    if ((style & styleExternalName) && externalName && *externalName != shownName) {
        shownName = *externalName;
        setDirty();
    }
}

// --- Geometry --------------------------------------------------------------------------

int32_t MFOptionMenu::rowHeight() const {
    if (openBackground && openBackground->isLoaded() && !entries.empty())
        return std::max(1, openBackground->getHeight() / int32_t(entries.size()));
    return std::max(1, textSize);
}

int32_t MFOptionMenu::textPixels() const {
    if (fontSize > 0)
        return fontSize;
    // Text a little smaller than its line, as the lines' pitch asks.
    return std::max(8, textSize * 7 / 10);
}

int32_t MFOptionMenu::computeWidth() const {
    if (openBackground && openBackground->isLoaded())
        return openBackground->getWidth();
    if (width > 0)
        return width;
    MeasureContext measure;
    measure.get().setFont(font, textPixels());
    int32_t widest = 0;
    bool hasSubMenu = false;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        widest =
            std::max(widest, int32_t(measure.get().getStringWidth(lineText(int32_t(i)).c_str())));
        hasSubMenu = hasSubMenu || entries[i].subMenu;
    }
    int32_t result = widest + marginLeft + titlePadding + marginRight;
    if (style & styleNumbered)
        result += numberWidth;
    if (hasSubMenu)
        result += arrow ? arrow->getWidth() : 2 * measure.get().getStringWidth("M");
    if (maxWidth > 0)
        result = std::min(result, maxWidth);
    if (minWidth > 0)
        result = std::max(result, minWidth);
    return result;
}

int32_t MFOptionMenu::visibleRows() const {
    const int32_t inner = listRect.height() - (openBackground ? 0 : marginTop + marginBottom);
    return std::max(1, inner / rowHeight());
}

int32_t MFOptionMenu::firstShownLine() const {
    const int32_t hidden = int32_t(entries.size()) - visibleRows();
    if (hidden <= 0)
        return 0;
    return std::max(0, int32_t(float(hidden) * scrollPos));
}

CRect MFOptionMenu::lineRect(int32_t line) const {
    const int32_t top =
        listRect.top + (openBackground ? 0 : marginTop) + (line - firstShownLine()) * rowHeight();
    return {listRect.left, top, listRect.right, top + rowHeight()};
}

int32_t MFOptionMenu::lineAt(CPoint where) const {
    if (!open || !listRect.pointInside(where))
        return -1;
    const int32_t top = listRect.top + (openBackground ? 0 : marginTop);
    if (where.y < top)
        return -1;
    const int32_t line = firstShownLine() + (where.y - top) / rowHeight();
    if (line >= int32_t(entries.size()) || line - firstShownLine() >= visibleRows())
        return -1;
    return line;
}

void MFOptionMenu::openPanel(CPoint at, bool nearPoint) {
    if (style & styleFromText)
        refillFromText();
    if (hotLine < 0)
        hotLine = getCurrentIndex() >= 0 ? getCurrentIndex() : 0;
    const int32_t panelWidth = computeWidth();
    const int32_t fullHeight =
        openBackground && openBackground->isLoaded()
            ? openBackground->getHeight()
            : int32_t(entries.size()) * rowHeight() + marginTop + marginBottom;
    const CRect frameRect = mfFrame ? mfFrame->getViewSize() : CRect(0, 0, 0, 0);
    const CRect bounds = frameRect.insetBy(frameMargin, frameMargin);

    CPoint corner = nearPoint ? CPoint(at.x + 1, at.y) : at;
    corner.x += offsetX;
    corner.y = std::max(1, corner.y + offsetY);
    CRect panel(corner, panelWidth, fullHeight);
    if (panel.bottom > bounds.bottom)
        panel.offset(0, bounds.bottom - panel.bottom);
    if (panel.right > bounds.right)
        panel.offset(bounds.right - panel.right, 0);
    if (panel.left < bounds.left)
        panel.offset(bounds.left - panel.left, 0);
    scrollShown = false;
    listRect = panel;
    if (panel.top < bounds.top) {
        // Taller than the frame: the whole height, and a scroll bar beside the lines.
        panel.top = bounds.top;
        panel.bottom = bounds.bottom;
        panel.right += MFScrollbarY::barWidth;
        if (panel.right > bounds.right)
            panel.offset(bounds.right - panel.right, 0);
        scrollShown = true;
        listRect = panel;
        listRect.right = panel.right - MFScrollbarY::barWidth - MFScrollbarY::insetRight;
    }
    openRect = panel;
    if (scrollShown) {
        scrollBar->setViewSize(MFScrollbarY::placeIn(openRect), false);
        scrollBar->setMouseableArea(scrollBar->getViewSize());
        scrollBar->setColours(scrollBack, borderColour, scrollThumb);
        scrollBar->setVisibleFraction(float(visibleRows()) /
                                      float(std::max<std::size_t>(1, entries.size())));
        // Keep the current line in sight.
        const int32_t hidden = int32_t(entries.size()) - visibleRows();
        if (hotLine >= 0 && hidden > 0 &&
            (hotLine < firstShownLine() || hotLine >= firstShownLine() + visibleRows()))
            scrollPos = std::clamp(float(hotLine - visibleRows() / 2) / float(hidden), 0.0f, 1.0f);
    } else {
        scrollPos = 0.0f;
    }
    scrollBar->setVisible(scrollShown);
    open = true;
    invalidPanel();
}

void MFOptionMenu::openModal(int32_t mode, const CPoint* where, int32_t modalTag) {
    if (!mfFrame)
        return;
    if (open)
        closeModal();
    if (mode == 2)
        learnTag = modalTag;
    hotLine = -1;
    if (callback && !callback->menuOpened(this)) {
        learnSub = 0;
        return;
    }
    setVisible(true);
    if (where)
        openPanel(*where, true);
    else
        openPanel(CPoint(closedRect.left, closedRect.top), false);
    MFControl::openModal(mode, where, modalTag);
}

void MFOptionMenu::closeSubMenu() {
    if (!subOpen)
        return;
    MFOptionMenu* sub = subOpen;
    subOpen = nullptr;
    sub->closePanel();
    invalidInFrame(sub->getDrawnArea());
}

void MFOptionMenu::closePanel() {
    if (!open)
        return;
    closeSubMenu();
    invalidPanel();
    hotLine = -1;
    open = false;
    scrollDragging = false;
    openingPress = false;
    scrollShown = false;
    scrollBar->setVisible(false);
    openRect = listRect = CRect();
}

void MFOptionMenu::closeModal() {
    if (!open) {
        MFControl::closeModal();
        return;
    }
    closePanel();
    MFControl::closeModal();
    // A sub index belongs to one opening only: a knob opening next has none. A choice
    // keeps it until its listener has read it.
    if (!choosing)
        learnSub = 0;
    setDirty();
    if (callback)
        callback->menuClosed(this);
}

MFOptionMenu* MFOptionMenu::root() {
    MFOptionMenu* top = this;
    while (top->parentMenu)
        top = top->parentMenu;
    return top;
}

void MFOptionMenu::invalidPanel() {
    if (!openRect.isEmpty())
        invalidInFrame(
            openRect.insetBy(-(frameMargin + shadowRings), -(frameMargin + shadowRings)));
    invalidInFrame(closedRect);
}

CRect MFOptionMenu::getDrawnArea() const {
    CRect area = MFControl::getDrawnArea();
    if (open) {
        area = area.unionWith(openRect.insetBy(-shadowRings, -shadowRings));
        if (subOpen)
            area = area.unionWith(subOpen->getDrawnArea());
    }
    return area;
}

bool MFOptionMenu::panelContains(CPoint where) const {
    return open && openRect.pointInside(where);
}

MFOptionMenu* MFOptionMenu::panelAt(CPoint where) {
    if (subOpen)
        if (MFOptionMenu* inner = subOpen->panelAt(where))
            return inner;
    return panelContains(where) ? this : nullptr;
}

// --- Events ----------------------------------------------------------------------------

bool MFOptionMenu::lineChoosable(int32_t line) const {
    if (line < 0 || line >= int32_t(entries.size()))
        return false;
    const MFOptionMenuEntryInfo& info = entries[std::size_t(line)];
    return info.enabled && !info.separator && !info.subMenu;
}

int MFOptionMenu::onMouseDown(CPoint where, long buttons) {
    if (!open) {
        if (!isShown() || !hitTest(where, buttons) || busy)
            return mouseNotHandled;
        if ((buttons & (cbutton::right | cbutton::apple)) && learnMenu) {
            learnMenu->setVisible(true);
            learnMenu->openModal(2, &where, tag);
            return mouseHandledNoMoves;
        }
        openModal(0, nullptr, tag);
        if (!open)
            return mouseHandledNoMoves;
        openingPress = true;
        pressPoint = where;
        return mouseHandled;
    }
    openingPress = false;
    chosenAtPress = false;
    MFOptionMenu* target = panelAt(where);
    if (!target) {
        // Outside every panel: close, choose nothing, and keep the press from what lies
        // beneath.
        closeModal();
        return mouseHandledNoMoves;
    }
    if (target->scrollShown && target->scrollBar->getViewSize().pointInside(where)) {
        target->scrollBar->onMouseDown(where, buttons);
        target->scrollDragging = true;
        scrollDragging = true;
        return mouseHandled;
    }
    const int32_t line = target->lineAt(where);
    if (line < 0)
        return mouseHandled;
    target->hotLine = line;
    target->invalidPanel();
    if (target->entries[std::size_t(line)].subMenu) {
        if (target->subOpen != target->entries[std::size_t(line)].subMenu.get())
            target->openSubMenu(line);
        return mouseHandled;
    }
    if (target->lineChoosable(line)) {
        chosenAtPress = true;
        target->choose(line);
        return mouseHandledNoMoves;
    }
    return mouseHandled;
}

int MFOptionMenu::onMouseUp(CPoint where, long buttons) {
    if (!open)
        return mouseNotHandled;
    if (scrollDragging) {
        for (MFOptionMenu* m = this; m; m = m->subOpen)
            if (m->scrollDragging) {
                m->scrollBar->onMouseUp(where, buttons);
                m->scrollDragging = false;
            }
        return mouseHandled;
    }
    if (chosenAtPress) {
        chosenAtPress = false;
        return mouseHandled;
    }
    if (openingPress) {
        // The release of the press that opened the panel, without a move to another line:
        // the panel stays open for a click on a line.
        openingPress = false;
        return mouseHandled;
    }
    MFOptionMenu* target = panelAt(where);
    if (!target)
        return mouseHandled;
    const int32_t line = target->lineAt(where);
    if (target->lineChoosable(line))
        target->choose(line);
    return mouseHandled;
}

int MFOptionMenu::onMouseMoved(CPoint where, long buttons) {
    if (!open)
        return mouseNotHandled;
    if (scrollDragging) {
        for (MFOptionMenu* m = this; m; m = m->subOpen)
            if (m->scrollDragging) {
                m->scrollBar->onMouseMoved(where, buttons);
                m->invalidPanel();
            }
        return mouseHandled;
    }
    if (openingPress &&
        (std::abs(where.x - pressPoint.x) > 2 || std::abs(where.y - pressPoint.y) > 2))
        openingPress = false;
    track(where);
    return mouseHandled;
}

void MFOptionMenu::track(CPoint where) {
    if (subOpen && subOpen->panelAt(where)) {
        subOpen->track(where);
        return;
    }
    const int32_t line = lineAt(where);
    if (line < 0) {
        // Off the lines: the line of an open sub-menu stays lit.
        if (!subOpen && hotLine != -1) {
            hotLine = -1;
            invalidPanel();
        }
        return;
    }
    if (line != hotLine) {
        hotLine = line;
        invalidPanel();
    }
    MFOptionMenu* sub = entries[std::size_t(line)].subMenu.get();
    if (sub) {
        if (subOpen != sub)
            openSubMenu(line);
    } else if (subOpen) {
        closeSubMenu();
    }
}

bool MFOptionMenu::onWheel(CPoint where, float distance, long buttons) {
    if (!open)
        return MFControl::onWheel(where, distance, buttons);
    MFOptionMenu* target = panelAt(where);
    if (!target || !target->scrollShown)
        return true;
    const int32_t hidden = int32_t(target->entries.size()) - target->visibleRows();
    if (hidden > 0)
        target->setScrollPos(target->scrollPos - distance / float(hidden));
    return true;
}

void MFOptionMenu::openSubMenu(int32_t line) {
    closeSubMenu();
    MFOptionMenu* sub = entries[std::size_t(line)].subMenu.get();
    if (!sub || sub->getNbEntries() == 0)
        return;
    sub->hotLine = -1;
    const CRect row = lineRect(line);
    // Beside the panel, its first line level with the line that opened it.
    sub->openPanel(CPoint(openRect.right - 1, row.top - sub->marginTop - sub->offsetY), false);
    if (sub->openRect.left < openRect.right - 1 &&
        openRect.left - sub->openRect.width() >= frameMargin) {
        // No room at the right: at the left of the panel instead.
        const int32_t dx = openRect.left + 1 - sub->openRect.width() - sub->openRect.left;
        sub->openRect.offset(dx, 0);
        sub->listRect.offset(dx, 0);
        if (sub->scrollShown)
            sub->scrollBar->setViewSize(MFScrollbarY::placeIn(sub->openRect), false);
    }
    subOpen = sub;
    invalidInFrame(sub->getDrawnArea());
}

void MFOptionMenu::choose(int32_t line) {
    value = (style & styleFlatValue) ? float(flatIndexOf(line)) : float(line);
    hotLine = line;
    fileString = noFile;
    // Closed before anybody hears of it: the listener may rebuild the lines, or open a
    // dialog that blocks. The top menu outlives a rebuild; this one may not.
    MFOptionMenu* top = root();
    top->choosing = true;
    top->closeModal();
    setDirty();
    notifyUp();
    top->choosing = false;
    top->learnSub = 0;
}

void MFOptionMenu::notifyUp() {
    if (parentMenu)
        parentMenu->valueChanged(this);
    else if (listener)
        listener->valueChanged(this);
}

void MFOptionMenu::valueChanged(CControl* control) {
    if (control == scrollBar.get()) {
        invalidPanel();
        return;
    }
    for (int32_t line = 0; line < int32_t(entries.size()); ++line) {
        MFOptionMenu* sub = entries[std::size_t(line)].subMenu.get();
        if (sub != control)
            continue;
        // A file chosen in a sub-menu: its whole path comes up, and this menu's value
        // names the sub-menu's line (or, counted flat, the file itself).
        sub->getCurrentPath(fileString, extension.c_str());
        if (fileString.empty())
            fileString = noFile;
        value = (style & styleFlatValue) ? float(flatIndexOf(line)) + sub->getValue() : float(line);
        setDirty();
        notifyUp();
        return;
    }
    if (control->getTag() == nextTag || control->getTag() == previousTag) {
        // A step button acts at its release.
        if (control->getValue() == 0.0f)
            stepCommand(control->getTag() == nextTag ? 1 : -1);
        return;
    }
    char text[96];
    std::snprintf(text, sizeof text, "unknown value in MFOptionMenu::valueChanged : val: %d",
                  int(control->getTag()));
    mfDebugOutput(text);
}

void MFOptionMenu::refillFromText() {
    removeAllEntries();
    std::size_t start = 0;
    while (start <= sourceText.size()) {
        std::size_t end = sourceText.find('\n', start);
        if (end == std::string::npos)
            end = sourceText.size();
        std::string line = sourceText.substr(start, end - start);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!(line.empty() && end == sourceText.size()))
            if (!addEntry(line.c_str()))
                break;
        start = end + 1;
    }
}

// --- Drawing ---------------------------------------------------------------------------

std::string MFOptionMenu::lineText(int32_t line) const {
    const std::string& title = entries[std::size_t(line)].title;
    if (!(style & styleNumbered) || fixedLineAt(line) != FixedLine::none)
        return title;
    char text[maxPathBytes];
    std::snprintf(text, sizeof text, "%d %s", int(line + 1), title.c_str());
    return text;
}

void MFOptionMenu::drawRect(CDrawContext& context, const CRect&) {
    draw(context);
}

void MFOptionMenu::draw(CDrawContext& context) {
    if (busy)
        return;
    if (isShown() && !closedRect.isEmpty() && !parentMenu) {
        // Open, the menu draws on top of everything: a caption's ends, where other
        // controls lie over it, are left as the frame drew them.
        const bool clipEnds = open && caption && !(style & styleBitmapRows);
        if (clipEnds)
            context.pushClip(closedRect.insetBy(closedTextInset, 0));
        drawClosed(context);
        if (clipEnds)
            context.popClip();
    }
    if (open)
        drawPanel(context);
    dirty = false;
}

void MFOptionMenu::drawArrow(CDrawContext& context, const CRect& area, bool right) {
    if (arrow && arrow->isLoaded()) {
        const int32_t x = right ? area.right - arrow->getWidth() : area.left;
        const int32_t y = area.top + (area.height() - arrow->getHeight()) / 2;
        arrow->draw(context, CRect(x, y, x + arrow->getWidth(), y + arrow->getHeight()));
        return;
    }
    // A small solid triangle pointing down, in the text colour.
    const int32_t cx = right ? area.right - arrowWidth : area.left + arrowWidth;
    const int32_t cy = area.top + area.height() / 2 - 1;
    context.setFrameColor(lineTextColour);
    for (int32_t row = 0; row < 3; ++row) {
        context.moveTo(CPoint(cx - 2 + row, cy + row));
        context.lineTo(CPoint(cx + 2 - row, cy + row));
    }
}

void MFOptionMenu::drawClosed(CDrawContext& context) {
    const CRect& area = closedRect;
    if (style & styleBitmapRows) {
        if (caption && caption->isLoaded() && !entries.empty()) {
            const int32_t row = caption->getHeight() / int32_t(entries.size());
            const int32_t line = std::clamp(getCurrentIndex(), 0, int32_t(entries.size()) - 1);
            caption->draw(context, area, CPoint(0, line * row));
        }
        return;
    }
    if (!(style & styleNoFill)) {
        context.setFillColor(fillColour);
        context.drawRect(area, CDrawContext::drawFilled);
    }
    std::string text;
    CRect textArea = area;
    if ((style & styleExternalName) && externalName) {
        text = *externalName;
        if (caption && caption->isLoaded()) {
            caption->draw(context, area);
            textArea.inset(closedTextInset, 0);
        }
    } else if (!(style & stylePopup)) {
        if (!getCurrentTitle(text, false))
            text = fallbackCaption;
    } else {
        getCurrentTitle(text, true);
    }
    const bool arrowDrawn = !(style & stylePopup) && !caption;
    if (arrowDrawn) {
        if (style & styleArrowLeft)
            textArea.left += 2 * arrowWidth;
        else
            textArea.right -= 2 * arrowWidth;
    }
    if (!text.empty() && font) {
        context.setFont(font, textPixels());
        context.setFontColor(lineTextColour);
        const bool left = (style & styleLeftAligned) != 0;
        CRect inner = textArea;
        if (left)
            inner.left += marginLeft;
        context.drawString(text.c_str(), inner, false,
                           left ? CDrawContext::alignLeft : CDrawContext::alignCenter);
    }
    if (arrowDrawn)
        drawArrow(context, area, !(style & styleArrowLeft));
}

void MFOptionMenu::drawPanel(CDrawContext& context) {
    // A soft shadow around the panel, darkest next to it.
    for (int32_t ring = 0; ring < shadowRings; ++ring) {
        context.setFrameColor(CColor{0, 0, 0, uint8_t(120 - ring * 28)});
        context.drawRect(openRect.insetBy(-(ring + 1), -(ring + 1)), CDrawContext::drawStroked);
    }
    const int32_t first = firstShownLine();
    const int32_t rows = visibleRows();
    const int32_t last = std::min(int32_t(entries.size()), first + rows);
    const bool picture = openBackground && openBackground->isLoaded();
    if (picture) {
        openBackground->draw(context, openRect);
        if (hotLine >= 0 && hotLine < int32_t(entries.size()) && rowHighlight &&
            rowHighlight->isLoaded()) {
            const CRect row = lineRect(hotLine);
            rowHighlight->draw(context, row, CPoint(0, hotLine * rowHeight()));
        }
    } else {
        context.setFillColor(fillColour);
        context.drawRect(openRect, CDrawContext::drawFilled);
        context.setFrameColor(borderColour);
        context.drawRect(openRect, CDrawContext::drawStroked);
        context.pushClip(listRect);
        context.setFont(font, textPixels());
        for (int32_t line = first; line < last; ++line) {
            const MFOptionMenuEntryInfo& info = entries[std::size_t(line)];
            const CRect row = lineRect(line);
            if (info.separator) {
                context.setFrameColor(borderColour);
                context.moveTo(CPoint(row.left + 3, row.top + row.height() / 2));
                context.lineTo(CPoint(row.right - 4, row.top + row.height() / 2));
                continue;
            }
            const bool hot = line == hotLine && (info.enabled || info.subMenu);
            if (hot) {
                context.setFillColor(CColor{48, 48, 40, 255});
                context.drawRect(CRect(row.left + 1, row.top, row.right - 1, row.bottom),
                                 CDrawContext::drawFilled);
            }
            context.setFontColor(!info.enabled && !info.subMenu ? disabledColour
                                 : hot                          ? hiColour
                                                                : lineTextColour);
            CRect textRow(row.left + marginLeft, row.top, row.right - marginRight, row.bottom);
            if (info.subMenu)
                textRow.right -= 2 * arrowWidth;
            context.drawString(lineText(line).c_str(), textRow, false, CDrawContext::alignLeft);
            if (info.subMenu) {
                // A triangle pointing right.
                const int32_t cx = row.right - arrowWidth - 2;
                const int32_t cy = row.top + row.height() / 2;
                context.setFrameColor(hot ? hiColour : lineTextColour);
                for (int32_t col = 0; col < 3; ++col) {
                    context.moveTo(CPoint(cx + col, cy - 2 + col));
                    context.lineTo(CPoint(cx + col, cy + 2 - col));
                }
            }
        }
        context.popClip();
        if (scrollShown) {
            scrollBar->setVisibleFraction(float(rows) /
                                          float(std::max<std::size_t>(1, entries.size())));
            scrollBar->draw(context);
        }
    }
    if (subOpen)
        subOpen->drawPanel(context);
}
