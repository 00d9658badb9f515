#include "editor/controls/MFLocalLink.h"

#include <unistd.h>

MFLocalLink::MFLocalLink(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                         CBitmap* bitmap, const std::string& installFolder)
    : MFWebLink(rect, l, t, owner, bitmap, manualPath(installFolder).c_str()) {
    kind = kindLocalLink;
}

std::string MFLocalLink::manualPath(const std::string& installFolder) {
    std::string folder = installFolder;
    if (!folder.empty() && folder.back() != '/')
        folder += '/';
    const std::string html = folder + "Manual.htm";
    if (::access((folder + "Manual.pdf").c_str(), R_OK) != 0 && ::access(html.c_str(), R_OK) == 0)
        return html;
    return folder + "Manual.pdf";
}

int MFLocalLink::onMouseDown(CPoint where, long buttons) {
    if (!hitTest(where, buttons))
        return mouseNotHandled;
    pressed = true;
    setDirty();
    openTarget();
    return mouseHandled;
}

int MFLocalLink::onMouseUp(CPoint, long) {
    if (!pressed)
        return mouseNotHandled;
    pressed = false;
    setDirty();
    return mouseHandled;
}
