// A tiny X client for the desktop benchmarks.
//   bench_xprobe embedded NAME TIMEOUT_MS
//     Prints "ready", then waits until a window whose WM_CLASS contains NAME is shown inside
//     another window (a tray host embedded it) and prints "embedded WINDOW NANOSECONDS", the
//     time on the monotonic clock.
//   bench_xprobe ping WINDOW INTERVAL_MS
//     Sends the window manager's ping to WINDOW every INTERVAL_MS until standard input ends,
//     then prints "pings SENT answered ANSWERED longest MS median MS": how long the program's
//     event loop took to answer.

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

long long monotonicNs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// Waits up to timeoutMs for events, reading them off the connection; false on timeout.
bool waitForEvents(Display* display, int timeoutMs)
{
    if (XPending(display))
        return true;
    pollfd watched = {ConnectionNumber(display), POLLIN, 0};
    return poll(&watched, 1, timeoutMs) > 0 && XPending(display);
}

bool hasClass(Display* display, Window window, const char* name)
{
    XClassHint hint = {};
    if (!XGetClassHint(display, window, &hint))
        return false;
    const bool match = (hint.res_name && std::strstr(hint.res_name, name))
        || (hint.res_class && std::strstr(hint.res_class, name));
    XFree(hint.res_name);
    XFree(hint.res_class);
    return match;
}

bool isViewable(Display* display, Window window)
{
    XWindowAttributes attributes = {};
    return XGetWindowAttributes(display, window, &attributes) && attributes.map_state == IsViewable;
}

int embedded(Display* display, const char* name, int timeoutMs)
{
    const Window root = DefaultRootWindow(display);
    XSelectInput(display, root, SubstructureNotifyMask);
    XSync(display, False);
    std::printf("ready\n");
    std::fflush(stdout);

    const long long deadline = monotonicNs() + timeoutMs * 1000000LL;
    Window icon = None;
    for (;;) {
        const int left = int((deadline - monotonicNs()) / 1000000);
        if (left <= 0)
            return 1;
        // Once found, the icon is looked at every millisecond too: its host may show it by
        // mapping a window of its own, which this client hears nothing of.
        if (!waitForEvents(display, icon == None ? left : 1)) {
            if (icon != None && isViewable(display, icon))
                break;
            continue;
        }
        XEvent event;
        XNextEvent(display, &event);
        if (icon == None && event.type == ReparentNotify && event.xreparent.parent != root
            && hasClass(display, event.xreparent.window, name)) {
            icon = event.xreparent.window;
            // Told of its mapping from now on; it may already be shown.
            XSelectInput(display, icon, StructureNotifyMask);
        }
        if (icon != None && isViewable(display, icon))
            break;
    }
    std::printf("embedded 0x%lx %lld\n", icon, monotonicNs());
    return 0;
}

int ping(Display* display, Window window, int intervalMs)
{
    const Window root = DefaultRootWindow(display);
    // The program answers by sending the ping back to the root window, for whoever listens there.
    XSelectInput(display, root, StructureNotifyMask | SubstructureNotifyMask);
    const Atom protocols = XInternAtom(display, "WM_PROTOCOLS", False);
    const Atom pingAtom = XInternAtom(display, "_NET_WM_PING", False);

    std::map<long, long long> outstanding;
    std::vector<double> delays;
    long sent = 0;
    long long next = monotonicNs();
    pollfd watched[2] = {{ConnectionNumber(display), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    for (;;) {
        if (monotonicNs() >= next) {
            XEvent event = {};
            event.xclient.type = ClientMessage;
            event.xclient.window = window;
            event.xclient.message_type = protocols;
            event.xclient.format = 32;
            event.xclient.data.l[0] = long(pingAtom);
            event.xclient.data.l[1] = ++sent;
            event.xclient.data.l[2] = long(window);
            XSendEvent(display, window, False, NoEventMask, &event);
            XFlush(display);
            outstanding[sent] = monotonicNs();
            next += intervalMs * 1000000LL;
        }
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type != ClientMessage || event.xclient.message_type != protocols
                || Atom(event.xclient.data.l[0]) != pingAtom)
                continue;
            const auto found = outstanding.find(event.xclient.data.l[1]);
            if (found == outstanding.end())
                continue;
            delays.push_back(double(monotonicNs() - found->second) / 1e6);
            outstanding.erase(found);
        }
        const int wait = int(std::max(0LL, (next - monotonicNs()) / 1000000));
        if (poll(watched, 2, wait) > 0 && (watched[1].revents & (POLLIN | POLLHUP))) {
            char buffer[256];
            if (read(STDIN_FILENO, buffer, sizeof buffer) <= 0)
                break;
        }
    }
    // A ping never answered counts as waiting until now.
    for (const auto& [id, when] : outstanding)
        delays.push_back(double(monotonicNs() - when) / 1e6);
    std::sort(delays.begin(), delays.end());
    const double median = delays.empty() ? 0 : delays[delays.size() / 2];
    std::printf("pings %ld answered %ld longest %.2f median %.2f\n", sent, long(sent - outstanding.size()),
                delays.empty() ? 0 : delays.back(), median);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (argc != 4 || (mode != "embedded" && mode != "ping")) {
        std::fprintf(stderr, "usage: %s embedded NAME TIMEOUT_MS | ping WINDOW INTERVAL_MS\n", argv[0]);
        return 2;
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "cannot open the display\n");
        return 2;
    }
    const int status = mode == "embedded"
        ? embedded(display, argv[2], std::atoi(argv[3]))
        : ping(display, Window(std::strtoul(argv[2], nullptr, 0)), std::max(1, std::atoi(argv[3])));
    XCloseDisplay(display);
    return status;
}
