#include "X11TestSupport.h"

#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <png.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unordered_set>

namespace {
X11TestServer* current = nullptr;
}

X11TestServer::X11TestServer() {
    if (!std::getenv("DISPLAY"))
        return;
    // A server started without -noreset restarts when its last client leaves, and refuses
    // connections for that moment: the previous test may just have left.
    for (int attempt = 0; attempt < 100 && !display; ++attempt) {
        display = XOpenDisplay(nullptr);
        if (!display)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!display)
        return;
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    if (!XTestQueryExtension(display, &eventBase, &errorBase, &major, &minor)) {
        XCloseDisplay(display);
        display = nullptr;
        return;
    }
    current = this;
    handlerBefore = XSetErrorHandler(onError);
}

X11TestServer::~X11TestServer() {
    if (!display)
        return;
    XSetErrorHandler(handlerBefore);
    current = nullptr;
    XCloseDisplay(display);
}

int X11TestServer::onError(Display* d, XErrorEvent*) {
    if (current && current->display == d)
        ++current->errorCount;
    return 0;
}

bool X11TestServer::ownsErrorHandler() {
    const XErrorHandler installed = XSetErrorHandler(onError);
    XSetErrorHandler(installed);
    return installed == onError;
}

Window X11TestServer::createParent(int x, int y, int width, int height, long eventMask) {
    const int screen = DefaultScreen(display);
    const Window w = XCreateSimpleWindow(display, RootWindow(display, screen), x, y,
                                         unsigned(width), unsigned(height), 0,
                                         BlackPixel(display, screen), BlackPixel(display, screen));
    XSelectInput(display, w, eventMask | StructureNotifyMask);
    XMapRaised(display, w);
    XEvent event;
    nextEvent(w, MapNotify, event);
    return w;
}

void X11TestServer::destroyWindow(Window window) {
    XDestroyWindow(display, window);
    XSync(display, False);
}

Window X11TestServer::unusedWindowId() {
    // Our own next resource id is the one id certain to name nothing yet.
    return XAllocID(display);
}

bool X11TestServer::nextEvent(Window window, int type, XEvent& event, int timeoutMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        if (XCheckTypedWindowEvent(display, window, type, &event))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

namespace xtest {

void moveTo(Display* display, int x, int y) {
    XTestFakeMotionEvent(display, DefaultScreen(display), x, y, CurrentTime);
    XSync(display, False);
}

void button(Display* display, unsigned int b, bool press) {
    XTestFakeButtonEvent(display, b, press ? True : False, CurrentTime);
    XSync(display, False);
}

void key(Display* display, unsigned long keysym, bool press) {
    const KeyCode code = XKeysymToKeycode(display, keysym);
    XTestFakeKeyEvent(display, code, press ? True : False, CurrentTime);
    XSync(display, False);
}

std::vector<uint32_t> capture(Display* display, Window window, int width, int height) {
    XImage* image =
        XGetImage(display, window, 0, 0, unsigned(width), unsigned(height), AllPlanes, ZPixmap);
    if (!image)
        return {};
    std::vector<uint32_t> pixels(std::size_t(width) * std::size_t(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[std::size_t(y) * std::size_t(width) + std::size_t(x)] =
                uint32_t(XGetPixel(image, x, y) & 0xffffff);
    XDestroyImage(image);
    return pixels;
}

} // namespace xtest

bool pumpUntil(const std::function<void()>& pump, const std::function<bool()>& done,
               int timeoutMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        pump();
        if (done())
            return true;
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
}

void pumpFor(const std::function<void()>& pump, int milliseconds) {
    pumpUntil(
        pump, [] { return false; }, milliseconds);
}

bool writePng(const std::string& path, const std::vector<uint32_t>& pixels, int width, int height) {
    if (pixels.size() != std::size_t(width) * std::size_t(height))
        return false;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(width);
    image.height = png_uint_32(height);
    image.format = PNG_FORMAT_RGB;
    std::vector<png_byte> rgb(pixels.size() * 3);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        rgb[i * 3 + 0] = png_byte(pixels[i] >> 16);
        rgb[i * 3 + 1] = png_byte(pixels[i] >> 8);
        rgb[i * 3 + 2] = png_byte(pixels[i]);
    }
    const bool ok =
        png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), width * 3, nullptr) != 0;
    png_image_free(&image);
    return ok;
}

std::size_t distinctColours(const std::vector<uint32_t>& pixels) {
    return std::unordered_set<uint32_t>(pixels.begin(), pixels.end()).size();
}

int openFileCount() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

int sharedSegmentCount() {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("/SYSV") != std::string::npos ? 1 : 0;
    return count;
}
