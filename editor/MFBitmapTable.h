#pragma once

class CBitmap;

// The skin's bitmaps, ids 1000 to 1188, shared by every editor in the process. The first
// acquire decodes them all from the PNG files embedded in the plug-in; the last release
// frees them. An id outside the table, or a picture that failed to decode, gives null, and
// the control that asked draws its fallback.
//
// Only the host's GUI thread calls these (from the editor's open and close), so the table
// and its use count need no lock.
namespace MFBitmapTable {
void acquire();
void release();
CBitmap* getBitmap(int id);
int useCount();
} // namespace MFBitmapTable
