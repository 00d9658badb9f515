#include "platform/MFX11Window.h"

#include "platform/MFDebugOutput.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/cursorfont.h>
#include <X11/extensions/XShm.h>
#include <X11/keysym.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr long buttonLeft = 2;
constexpr long buttonMiddle = 4;
constexpr long buttonRight = 8;
constexpr long keyShift = 16;
constexpr long keyControl = 32;
constexpr long keyAlt = 64;
constexpr long doubleClick = 1024;

// The usual X double-click time, and how far the mouse may wander between the presses.
constexpr unsigned long doubleClickMs = 400;
constexpr int doubleClickSlop = 4;

constexpr int cursorDefault = 0;
constexpr int cursorHorizontalResize = 2;
constexpr int cursorHand = 9;

constexpr long inputMask = ButtonPressMask | ButtonReleaseMask | PointerMotionMask | KeyPressMask |
                           KeyReleaseMask | EnterWindowMask | LeaveWindowMask | ExposureMask |
                           StructureNotifyMask;

// One connection of ours, as the process-wide handlers see it.
struct ConnectionState {
    Display* display = nullptr;
    Window window = 0;
    int trapDepth = 0; // above 0 while requests that may fail are being checked
    int trappedErrors = 0;
    bool lost = false;
    bool windowGone = false; // the server named our window unknown: its parent went
};

// Xlib has one error handler and one I/O error handler per process. Ours is installed
// while at least one window is open and passes errors of other connections (the host's)
// to the handler that was there before. Touched only from the thread of the editors.
std::vector<ConnectionState*> connections;
XErrorHandler previousErrorHandler = nullptr;
XIOErrorHandler previousIOErrorHandler = nullptr;
int forwardingDepth = 0;
int unexpectedErrors = 0;

ConnectionState* findConnection(Display* display) {
    for (ConnectionState* c : connections)
        if (c->display == display)
            return c;
    return nullptr;
}

int onXError(Display* display, XErrorEvent* error) {
    if (ConnectionState* c = findConnection(display)) {
        const bool aboutOurWindow =
            (error->error_code == BadWindow || error->error_code == BadDrawable) &&
            c->window != 0 && error->resourceid == c->window;
        if (c->trapDepth > 0) {
            ++c->trappedErrors;
        } else if (aboutOurWindow) {
            // The host destroyed the parent, and our drawing crossed the DestroyNotify
            // that is on its way to us.
            c->windowGone = true;
        } else {
            ++unexpectedErrors;
            char text[128];
            std::snprintf(text, sizeof text, "X error %d on request %d.%d, resource 0x%lx",
                          int(error->error_code), int(error->request_code), int(error->minor_code),
                          error->resourceid);
            mfDebugOutput(text);
        }
        return 0;
    }
    // A handler installed after ours may chain back to us: never go round in a circle.
    if (!previousErrorHandler || forwardingDepth > 0)
        return 0;
    ++forwardingDepth;
    const int result = previousErrorHandler(display, error);
    --forwardingDepth;
    return result;
}

int onXIOError(Display* display) {
    if (ConnectionState* c = findConnection(display)) {
        c->lost = true;
        return 0;
    }
    if (!previousIOErrorHandler || forwardingDepth > 0)
        return 0;
    ++forwardingDepth;
    const int result = previousIOErrorHandler(display);
    --forwardingDepth;
    return result;
}

// Replaces Xlib's exit() after a lost connection of ours: the host goes on, the editor closes.
void onXIOErrorExit(Display*, void* state) {
    static_cast<ConnectionState*>(state)->lost = true;
}

void addConnection(ConnectionState* c) {
    if (connections.empty()) {
        const XErrorHandler before = XSetErrorHandler(onXError);
        if (before != onXError)
            previousErrorHandler = before;
        const XIOErrorHandler ioBefore = XSetIOErrorHandler(onXIOError);
        if (ioBefore != onXIOError)
            previousIOErrorHandler = ioBefore;
    }
    connections.push_back(c);
}

void removeConnection(ConnectionState* c) {
    connections.erase(std::remove(connections.begin(), connections.end(), c), connections.end());
    if (!connections.empty())
        return;
    // Put the earlier handlers back, unless someone installed theirs on top of ours since:
    // that one stays, and ours keeps forwarding whatever it chains to us.
    const XErrorHandler current = XSetErrorHandler(previousErrorHandler);
    if (current != onXError)
        XSetErrorHandler(current);
    const XIOErrorHandler ioCurrent = XSetIOErrorHandler(previousIOErrorHandler);
    if (ioCurrent != onXIOError)
        XSetIOErrorHandler(ioCurrent);
}

// Checks requests that may fail for reasons outside our control (a parent id from the
// host, a server without shared memory): their errors are expected and counted apart.
class ErrorTrap {
public:
    explicit ErrorTrap(ConnectionState& c) : connection(c), before(c.trappedErrors) {
        ++connection.trapDepth;
    }
    ~ErrorTrap() { --connection.trapDepth; }
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;

    // Waits until the server has answered everything sent so far.
    bool failed() {
        XSync(connection.display, False);
        return connection.trappedErrors != before || connection.lost;
    }

private:
    ConnectionState& connection;
    int before;
};

long modifierBits(unsigned int state) {
    long bits = 0;
    if (state & ShiftMask)
        bits |= keyShift;
    if (state & ControlMask)
        bits |= keyControl;
    if (state & Mod1Mask)
        bits |= keyAlt;
    return bits;
}

long heldButtonBits(unsigned int state) {
    long bits = 0;
    if (state & Button1Mask)
        bits |= buttonLeft;
    if (state & Button2Mask)
        bits |= buttonMiddle;
    if (state & Button3Mask)
        bits |= buttonRight;
    return bits;
}

long buttonBit(unsigned int button) {
    switch (button) {
    case Button1:
        return buttonLeft;
    case Button2:
        return buttonMiddle;
    case Button3:
        return buttonRight;
    default:
        return 0;
    }
}

// The host's virtual key codes for the keys that have one.
int virtualKeyFor(KeySym sym) {
    if (sym >= XK_F1 && sym <= XK_F12)
        return 40 + int(sym - XK_F1);
    if (sym >= XK_KP_0 && sym <= XK_KP_9)
        return 24 + int(sym - XK_KP_0);
    switch (sym) {
    case XK_BackSpace:
        return 1;
    case XK_Tab:
        return 2;
    case XK_Clear:
        return 3;
    case XK_Return:
        return 4;
    case XK_Pause:
        return 5;
    case XK_Escape:
        return 6;
    case XK_space:
        return 7;
    case XK_End:
    case XK_KP_End:
        return 9;
    case XK_Home:
    case XK_KP_Home:
        return 10;
    case XK_Left:
    case XK_KP_Left:
        return 11;
    case XK_Up:
    case XK_KP_Up:
        return 12;
    case XK_Right:
    case XK_KP_Right:
        return 13;
    case XK_Down:
    case XK_KP_Down:
        return 14;
    case XK_Page_Up:
    case XK_KP_Page_Up:
        return 15;
    case XK_Page_Down:
    case XK_KP_Page_Down:
        return 16;
    case XK_Select:
        return 17;
    case XK_Print:
        return 18;
    case XK_KP_Enter:
        return 19;
    case XK_Insert:
    case XK_KP_Insert:
        return 21;
    case XK_Delete:
    case XK_KP_Delete:
        return 22;
    case XK_Help:
        return 23;
    case XK_KP_Multiply:
        return 34;
    case XK_KP_Add:
        return 35;
    case XK_KP_Separator:
        return 36;
    case XK_KP_Subtract:
        return 37;
    case XK_KP_Decimal:
        return 38;
    case XK_KP_Divide:
        return 39;
    case XK_Num_Lock:
        return 52;
    case XK_Scroll_Lock:
        return 53;
    case XK_Shift_L:
    case XK_Shift_R:
        return 54;
    case XK_Control_L:
    case XK_Control_R:
        return 55;
    case XK_Alt_L:
    case XK_Alt_R:
        return 56;
    case XK_KP_Equal:
        return 57;
    default:
        return 0;
    }
}

bool isPackedRgb(const Visual* v, int depth) {
    return v && v->c_class == TrueColor && (depth == 24 || depth == 32) &&
           v->red_mask == 0xff0000 && v->green_mask == 0xff00 && v->blue_mask == 0xff;
}

constexpr int nativeByteOrder = std::endian::native == std::endian::little ? LSBFirst : MSBFirst;

} // namespace

struct MFX11Window::Native {
    ConnectionState connection;
    Display* display = nullptr;
    Window parent = 0;
    Window window = 0;
    GC gc = nullptr;
    Visual* visual = nullptr;
    int depth = 0;
    Colormap colormap = 0; // our own, only when the parent's visual is not packed RGB
    int width = 0;
    int height = 0;
    bool destroyed = false; // the server destroyed the window with its parent

    Cursor resizeCursor = 0;
    Cursor handCursor = 0;
    int cursorKind = cursorDefault;

    bool firstPressPending = false;
    unsigned int firstPressButton = 0;
    Time firstPressTime = 0;
    int firstPressX = 0;
    int firstPressY = 0;

    bool pointerInside = false;
    bool exposePending = false;
    int exposeLeft = 0, exposeTop = 0, exposeRight = 0, exposeBottom = 0;

    unsigned char forwardedKeys[32] = {}; // keycodes whose press went on to the parent

    XShmSegmentInfo shm{};
    XImage* shmImage = nullptr;

    bool gone() const { return connection.lost || connection.windowGone || destroyed; }
    bool create(Window parentId, int w, int h, bool shmAllowed);
    void attachSharedMemory();
    void release();
};

bool MFX11Window::Native::create(Window parentId, int w, int h, bool shmAllowed) {
    // The id comes from the host: ask the server about it before giving it to any request
    // whose failure would leave half a window behind.
    XWindowAttributes parentAttributes{};
    {
        ErrorTrap trap(connection);
        const Status known = XGetWindowAttributes(display, parentId, &parentAttributes);
        if (trap.failed() || !known)
            return false;
    }
    parent = parentId;
    width = w;
    height = h;

    XSetWindowAttributes attributes{};
    unsigned long mask = CWBackPixmap | CWBorderPixel | CWEventMask;
    attributes.background_pixmap = None; // no flash of a background before the first present
    attributes.border_pixel = 0;
    attributes.event_mask = inputMask;
    visual = parentAttributes.visual;
    depth = parentAttributes.depth;
    if (!isPackedRgb(visual, depth)) {
        XVisualInfo info{};
        const int screen = XScreenNumberOfScreen(parentAttributes.screen);
        if (!XMatchVisualInfo(display, screen, 24, TrueColor, &info) ||
            !isPackedRgb(info.visual, 24))
            return false;
        visual = info.visual;
        depth = 24;
        colormap = XCreateColormap(display, parentAttributes.root, visual, AllocNone);
        attributes.colormap = colormap;
        mask |= CWColormap;
    }
    {
        ErrorTrap trap(connection);
        window = XCreateWindow(display, parent, 0, 0, unsigned(w), unsigned(h), 0, depth,
                               InputOutput, visual, mask, &attributes);
        connection.window = window;
        gc = XCreateGC(display, window, 0, nullptr);
        if (trap.failed())
            return false;
    }
    if (shmAllowed)
        attachSharedMemory();
    XMapWindow(display, window);
    XFlush(display);
    return true;
}

void MFX11Window::Native::attachSharedMemory() {
    if (!XShmQueryExtension(display))
        return;
    XImage* image = XShmCreateImage(display, visual, unsigned(depth), ZPixmap, nullptr, &shm,
                                    unsigned(width), unsigned(height));
    if (!image)
        return;
    if (image->bits_per_pixel != 32) {
        XDestroyImage(image);
        return;
    }
    shm.shmid = shmget(IPC_PRIVATE, std::size_t(image->bytes_per_line) * std::size_t(height),
                       IPC_CREAT | 0600);
    if (shm.shmid < 0) {
        XDestroyImage(image);
        return;
    }
    void* address = shmat(shm.shmid, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        shmctl(shm.shmid, IPC_RMID, nullptr);
        XDestroyImage(image);
        return;
    }
    shm.shmaddr = static_cast<char*>(address);
    shm.readOnly = False;
    image->data = shm.shmaddr;
    image->byte_order = nativeByteOrder;
    bool attached = false;
    {
        // A server on another machine refuses the attach.
        ErrorTrap trap(connection);
        attached = XShmAttach(display, &shm) && !trap.failed();
    }
    // Marked for removal now: the segment goes when the last side lets go, even after a crash.
    shmctl(shm.shmid, IPC_RMID, nullptr);
    if (!attached) {
        shmdt(shm.shmaddr);
        image->data = nullptr;
        XDestroyImage(image);
        shm = XShmSegmentInfo{};
        return;
    }
    shmImage = image;
}

void MFX11Window::Native::release() {
    {
        // The window may have gone with a parent the host just destroyed. After a lost
        // connection these requests go nowhere, but they free Xlib's side of each resource.
        ErrorTrap trap(connection);
        if (shmImage)
            XShmDetach(display, &shm);
        if (resizeCursor)
            XFreeCursor(display, resizeCursor);
        if (handCursor)
            XFreeCursor(display, handCursor);
        if (gc)
            XFreeGC(display, gc);
        if (window && !destroyed)
            XDestroyWindow(display, window);
        if (colormap)
            XFreeColormap(display, colormap);
        if (!connection.lost)
            trap.failed();
    }
    if (shmImage) {
        shmdt(shm.shmaddr);
        shmImage->data = nullptr;
        XDestroyImage(shmImage);
        shmImage = nullptr;
    }
    XCloseDisplay(display);
    removeConnection(&connection);
    display = nullptr;
}

MFX11Window::MFX11Window() = default;

MFX11Window::~MFX11Window() {
    close();
}

bool MFX11Window::open(unsigned long parentWindowId, int width, int height,
                       MFWindowEvents* eventsTarget) {
    close();
    if (parentWindowId == 0 || width <= 0 || height <= 0 || !eventsTarget)
        return false;
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    auto n = std::make_unique<Native>();
    n->display = display;
    n->connection.display = display;
    addConnection(&n->connection);
    // Per connection since libX11 1.7 (Debian 12 has 1.8): without it a lost server
    // would end the host's process.
    XSetIOErrorExitHandler(display, onXIOErrorExit, &n->connection);
    if (!n->create(parentWindowId, width, height, sharedMemoryAllowed)) {
        n->release();
        return false;
    }
    native = std::move(n);
    events = eventsTarget;
    return true;
}

void MFX11Window::close() {
    if (!native)
        return;
    native->release();
    native.reset();
    events = nullptr;
}

bool MFX11Window::isOpen() const {
    return native != nullptr;
}

unsigned long MFX11Window::windowId() const {
    return native ? native->window : 0;
}

bool MFX11Window::usesSharedMemory() const {
    return native && native->shmImage;
}

int MFX11Window::unexpectedErrorCount() {
    return unexpectedErrors;
}

int MFX11Window::openConnectionCount() {
    return int(connections.size());
}

void MFX11Window::pump() {
    Native* n = native.get();
    if (!n)
        return;
    while (!n->gone() && XPending(n->display) > 0) {
        XEvent event;
        XNextEvent(n->display, &event);
        dispatch(*n, &event);
        if (native.get() != n)
            return; // a callback closed the window
    }
    if (n->gone())
        dropAfterLoss();
}

void MFX11Window::dropAfterLoss() {
    MFWindowEvents* target = events;
    close();
    if (target)
        target->windowClosed(); // last: the editor may drop this object here
}

void MFX11Window::dispatch(Native& n, void* raw) {
    XEvent& e = *static_cast<XEvent*>(raw);
    switch (e.type) {
    case ButtonPress: {
        const XButtonEvent& b = e.xbutton;
        if (b.button == Button4 || b.button == Button5) {
            events->windowWheel(b.x, b.y, b.button == Button4 ? 1.0f : -1.0f,
                                heldButtonBits(b.state) | modifierBits(b.state));
            return;
        }
        const long bit = buttonBit(b.button);
        if (!bit)
            return;
        long bits = heldButtonBits(b.state) | bit | modifierBits(b.state);
        const bool second = n.firstPressPending && b.button == n.firstPressButton &&
                            ((b.time - n.firstPressTime) & 0xffffffffUL) < doubleClickMs &&
                            std::abs(b.x - n.firstPressX) <= doubleClickSlop &&
                            std::abs(b.y - n.firstPressY) <= doubleClickSlop;
        if (second) {
            bits |= doubleClick;
            n.firstPressPending = false; // a third press starts a new pair
        } else {
            n.firstPressPending = true;
            n.firstPressButton = b.button;
            n.firstPressTime = b.time;
            n.firstPressX = b.x;
            n.firstPressY = b.y;
        }
        events->windowMouseDown(b.x, b.y, bits);
        return;
    }
    case ButtonRelease: {
        const XButtonEvent& b = e.xbutton;
        const long bit = buttonBit(b.button);
        if (!bit)
            return; // wheel notches come as press and release: the press was the notch
        events->windowMouseUp(b.x, b.y, (heldButtonBits(b.state) & ~bit) | modifierBits(b.state));
        return;
    }
    case MotionNotify: {
        // Only the newest of a run of moves matters to a drag.
        XEvent next;
        while (XEventsQueued(n.display, QueuedAlready) > 0) {
            XPeekEvent(n.display, &next);
            if (next.type != MotionNotify || next.xmotion.state != e.xmotion.state)
                break;
            XNextEvent(n.display, &e);
        }
        const XMotionEvent& m = e.xmotion;
        events->windowMouseMoved(m.x, m.y, heldButtonBits(m.state) | modifierBits(m.state));
        return;
    }
    case EnterNotify:
    case LeaveNotify: {
        const bool entered = e.type == EnterNotify;
        if (e.xcrossing.detail == NotifyInferior || entered == n.pointerInside)
            return;
        n.pointerInside = entered;
        events->windowEnterLeave(entered);
        return;
    }
    case Expose: {
        const XExposeEvent& x = e.xexpose;
        if (!n.exposePending) {
            n.exposeLeft = x.x;
            n.exposeTop = x.y;
            n.exposeRight = x.x + x.width;
            n.exposeBottom = x.y + x.height;
            n.exposePending = true;
        } else {
            n.exposeLeft = std::min(n.exposeLeft, x.x);
            n.exposeTop = std::min(n.exposeTop, x.y);
            n.exposeRight = std::max(n.exposeRight, x.x + x.width);
            n.exposeBottom = std::max(n.exposeBottom, x.y + x.height);
        }
        if (x.count == 0) {
            n.exposePending = false;
            events->windowExpose(n.exposeLeft, n.exposeTop, n.exposeRight - n.exposeLeft,
                                 n.exposeBottom - n.exposeTop);
        }
        return;
    }
    case KeyPress:
    case KeyRelease:
        handleKey(n, raw);
        return;
    case DestroyNotify:
        if (e.xdestroywindow.window == n.window)
            n.destroyed = true;
        return;
    case MappingNotify:
        XRefreshKeyboardMapping(&e.xmapping);
        return;
    default:
        return;
    }
}

void MFX11Window::handleKey(Native& n, void* raw) {
    XKeyEvent& k = static_cast<XEvent*>(raw)->xkey;
    const unsigned int code = k.keycode & 0xff;
    const unsigned char bit = static_cast<unsigned char>(1u << (code & 7));
    if (k.type == KeyPress) {
        char text[8];
        KeySym sym = NoSymbol;
        XLookupString(&k, text, sizeof text, &sym, nullptr);
        const int character = (sym >= 0x20 && sym <= 0x7e) ? int(sym) : 0;
        const bool used =
            events->windowKeyDown(virtualKeyFor(sym), character, modifierBits(k.state));
        if (native.get() != &n || used)
            return;
        n.forwardedKeys[code >> 3] |= bit;
    } else {
        if (!(n.forwardedKeys[code >> 3] & bit))
            return;
        n.forwardedKeys[code >> 3] &= static_cast<unsigned char>(~bit);
    }
    // A key we have no use for goes on to the host's window, so its shortcuts still work.
    XKeyEvent forwarded = k;
    forwarded.window = n.parent;
    forwarded.subwindow = None;
    forwarded.send_event = True;
    XEvent message;
    message.xkey = forwarded;
    ErrorTrap trap(n.connection); // the host may be tearing its window down
    XSendEvent(n.display, n.parent, False, k.type == KeyPress ? KeyPressMask : KeyReleaseMask,
               &message);
    trap.failed();
}

void MFX11Window::present(const unsigned char* argb32, int stride, int x, int y, int w, int h) {
    Native* n = native.get();
    if (!n || !argb32 || n->gone() || stride < n->width * 4)
        return;
    const int left = std::max(x, 0);
    const int top = std::max(y, 0);
    const int right = std::min(x + w, n->width);
    const int bottom = std::min(y + h, n->height);
    if (right <= left || bottom <= top)
        return;
    const unsigned int areaWidth = unsigned(right - left);
    const unsigned int areaHeight = unsigned(bottom - top);
    if (n->shmImage) {
        XImage& image = *n->shmImage;
        for (int row = top; row < bottom; ++row)
            std::memcpy(image.data + std::ptrdiff_t(row) * image.bytes_per_line + left * 4,
                        argb32 + std::ptrdiff_t(row) * stride + left * 4, areaWidth * 4);
        XShmPutImage(n->display, n->window, n->gc, &image, left, top, left, top, areaWidth,
                     areaHeight, False);
        // The server must have read the segment before the next present writes into it.
        XSync(n->display, False);
        return;
    }
    // The back buffer itself, described as an image of the window's size; only the area
    // travels to the server.
    XImage image{};
    image.width = n->width;
    image.height = n->height;
    image.format = ZPixmap;
    image.data = reinterpret_cast<char*>(const_cast<unsigned char*>(argb32));
    image.byte_order = nativeByteOrder;
    image.bitmap_unit = 32;
    image.bitmap_bit_order = nativeByteOrder;
    image.bitmap_pad = 32;
    image.depth = n->depth;
    image.bytes_per_line = stride;
    image.bits_per_pixel = 32;
    image.red_mask = n->visual->red_mask;
    image.green_mask = n->visual->green_mask;
    image.blue_mask = n->visual->blue_mask;
    if (!XInitImage(&image))
        return;
    XPutImage(n->display, n->window, n->gc, &image, left, top, left, top, areaWidth, areaHeight);
    XFlush(n->display);
}

void MFX11Window::setCursor(int cursorId) {
    Native* n = native.get();
    if (!n || n->gone())
        return;
    const int kind =
        (cursorId == cursorHorizontalResize || cursorId == cursorHand) ? cursorId : cursorDefault;
    if (kind == n->cursorKind)
        return;
    if (kind == cursorDefault) {
        XUndefineCursor(n->display, n->window);
    } else {
        Cursor& cursor = kind == cursorHand ? n->handCursor : n->resizeCursor;
        if (!cursor)
            cursor =
                XCreateFontCursor(n->display, kind == cursorHand ? XC_hand2 : XC_sb_h_double_arrow);
        XDefineCursor(n->display, n->window, cursor);
    }
    n->cursorKind = kind;
    XFlush(n->display);
}

void MFX11Window::takeFocus() {
    Native* n = native.get();
    if (!n || n->gone())
        return;
    // Refused while the window is not viewable; that is no fault of ours.
    ErrorTrap trap(n->connection);
    XSetInputFocus(n->display, n->window, RevertToParent, CurrentTime);
    trap.failed();
}
