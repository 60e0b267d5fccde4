/**
 * SDL2 window backend (Linux); the contract is app/window.h.
 *
 * Implements:
 *  - the main window: title, X11 class, 970 x 660 client, fixed size, centred by client size;
 *  - the back buffer: on X11 a shared-memory image the X server reads itself (MIT-SHM) through
 *    a connection of our own, presented without waiting for the server: the next frame waits
 *    for its completion event before drawing into the buffer (window_present_wait), by when it
 *    has long arrived. Without MIT-SHM (a remote display, another video driver): the SDL window
 *    surface itself when it is XRGB8888 with a 3880-byte pitch, else an aligned buffer of ours
 *    converted into the surface on present;
 *  - the wait for events up to a deadline, with the serial-receive wake-up and quit as SDL user
 *    events; on X11 it sleeps in poll(2) on the X connection and a wake-up descriptor and pumps
 *    SDL only when there is something to read (SDL's own timed wait costs ~2 % of a core at
 *    200 wake-ups a second); the same poll(2) watches port discovery's change notification, so
 *    a plugged adapter is checked for at once and an idle tick reads nothing;
 *  - keyboard state for the keypad (with a latch for presses shorter than a poll), the focus
 *    test, the modal state in which input is dropped, the user's language;
 *  - SIGTERM and SIGINT taken as a window close.
 */
#include "app/window_sdl.h"

#include "app/app.h"
#include "app/keypad.h"
#include "app/main_loop.h"
#include "app/window.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "serial/discovery.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

namespace {

/* The shared-memory present: SDL's own window update is an XShmPutImage followed by a blocking
 * XSync (a round trip while the server copies 2.5 MB). Ours only queues the request; the
 * server's completion event says when the buffer may be drawn into again. The connection is our
 * own so that SDL's event pump never swallows those events. */
struct ShmPresent {
    Display* dpy = nullptr;
    XShmSegmentInfo segment = {};
    XImage* image = nullptr;
    GC gc = nullptr;
    Window window = 0;
    int completion_event = 0;
    unsigned pending = 0; /* presents the server has not finished reading */
};

struct SdlWindowState {
    SDL_Window* window = nullptr;
    SDL_Surface* surface = nullptr;
    uint8_t* own_buffer = nullptr; /* used when the surface layout differs; null while LVGL draws on the surface */
    Uint32 rx_event = 0;
    Uint32 quit_event = 0;
    bool first_frame_logged = false;
    uint64_t start_ms = 0;
    int modal_depth = 0;
    unsigned long x11_window = 0;
    Display* x11_display = nullptr; /* SDL's connection */
    ShmPresent shm;

    /* poll(2) wait: the X connection, and an eventfd written by wake-ups from any thread */
    int x_fd = -1;
    int wake_fd = -1;
    bool pump_needed = true; /* a present may have read events into Xlib's queue */

    /* keyboard */
    uint8_t latched[SDL_NUM_SCANCODES] = {};
};

SdlWindowState g_win;
volatile sig_atomic_t g_quit_signal = 0; /* SIGTERM or SIGINT arrived */

SDL_Scancode scancode_of(int vk) {
    if (vk >= 0x60 && vk <= 0x69) return vk == 0x60 ? SDL_SCANCODE_KP_0 : static_cast<SDL_Scancode>(SDL_SCANCODE_KP_1 + vk - 0x61);
    if (vk >= 0x30 && vk <= 0x39) return vk == 0x30 ? SDL_SCANCODE_0 : static_cast<SDL_Scancode>(SDL_SCANCODE_1 + vk - 0x31);
    if (vk >= 0x41 && vk <= 0x5A) return static_cast<SDL_Scancode>(SDL_SCANCODE_A + vk - 0x41);
    switch (vk) {
    case 0x08: return SDL_SCANCODE_BACKSPACE;
    case 0x0D: return SDL_SCANCODE_RETURN;
    case 0x20: return SDL_SCANCODE_SPACE;
    case 0x25: return SDL_SCANCODE_LEFT;
    case 0x26: return SDL_SCANCODE_UP;
    case 0x27: return SDL_SCANCODE_RIGHT;
    case 0x28: return SDL_SCANCODE_DOWN;
    case 0xBF: return SDL_SCANCODE_SLASH;
    case 0xC0: return SDL_SCANCODE_GRAVE;
    case 0xDB: return SDL_SCANCODE_LEFTBRACKET;
    case 0xDC: return SDL_SCANCODE_BACKSLASH;
    case 0xDD: return SDL_SCANCODE_RIGHTBRACKET;
    case 0xBD: return SDL_SCANCODE_MINUS;
    case 0xBB: return SDL_SCANCODE_EQUALS;
    case 0xDE: return SDL_SCANCODE_APOSTROPHE;
    case 0xBA: return SDL_SCANCODE_SEMICOLON;
    case 0xBC: return SDL_SCANCODE_COMMA;
    case 0xBE: return SDL_SCANCODE_PERIOD;
    default: return SDL_SCANCODE_UNKNOWN;
    }
}

bool kb_window_known() { return g_win.window != nullptr; }
bool kb_has_focus() { return g_win.window != nullptr && SDL_GetKeyboardFocus() == g_win.window; }
bool kb_caps_lock_on() { return (SDL_GetModState() & KMOD_CAPS) != 0; }
bool kb_shift_down() { return (SDL_GetModState() & KMOD_SHIFT) != 0; }

bool kb_key_down(int vk) {
    const SDL_Scancode sc = scancode_of(vk);
    if (sc == SDL_SCANCODE_UNKNOWN) return false;
    const Uint8* keys = SDL_GetKeyboardState(nullptr);
    const bool down = keys[sc] != 0 || g_win.latched[sc] != 0;
    g_win.latched[sc] = 0; /* a press shorter than a poll is reported once */
    return down;
}

const KeyboardPort g_keyboard_port = {kb_window_known, kb_has_focus, kb_key_down, kb_caps_lock_on, kb_shift_down};

void handle_event(const SDL_Event& ev) {
    if (ev.type == SDL_QUIT) {
        main_loop_quit(0);
        return;
    }
    if (ev.type == g_win.rx_event) {
        app_on_serial_rx();
        return;
    }
    if (ev.type == g_win.quit_event) {
        main_loop_quit(ev.user.code);
        return;
    }
    if (g_win.modal_depth > 0 && ev.type >= SDL_KEYDOWN && ev.type <= SDL_MOUSEWHEEL)
        return; /* a modal box is open: the window takes no input */
    switch (ev.type) {
    case SDL_MOUSEMOTION:
        app_on_pointer_move(ev.motion.x, ev.motion.y);
        break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        if (ev.button.button == SDL_BUTTON_LEFT)
            app_on_pointer_button(ev.type == SDL_MOUSEBUTTONDOWN);
        else
            app_on_activity(); /* activity all the same */
        break;
    case SDL_KEYDOWN:
        app_on_activity();
        if ((ev.key.keysym.mod & KMOD_ALT) != 0 && ev.key.keysym.sym == SDLK_SLASH) {
            app_on_about(); /* Alt+"/" and Alt+"?" (Shift+"/") */
            break;
        }
        if (ev.key.repeat == 0 && ev.key.keysym.scancode < SDL_NUM_SCANCODES) g_win.latched[ev.key.keysym.scancode] = 1;
        break;
    case SDL_KEYUP:
        app_on_activity();
        break;
    case SDL_WINDOWEVENT:
        if (ev.window.event == SDL_WINDOWEVENT_EXPOSED) app_on_expose();
        break;
    default:
        break;
    }
}

void wake_loop() {
    if (g_win.wake_fd < 0) return;
    const uint64_t one = 1;
    ssize_t n = write(g_win.wake_fd, &one, sizeof one);
    (void)n; /* a full counter already means "wake up" */
}

/* A termination request counts as a window close. The handler only sets a flag and wakes the
 * wait, so the request is seen at once wherever the UI thread is (SDL's own handler is seen only
 * when SDL happens to be pumped). */
void on_quit_signal(int) {
    const int saved = errno;
    g_quit_signal = 1;
    wake_loop();
    errno = saved;
}

void install_quit_signals() {
    struct sigaction sa = {};
    sa.sa_handler = on_quit_signal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
}

int wait_ms_until(uint64_t deadline_ms) {
    const uint64_t now = clock_ms();
    if (deadline_ms <= now) return 0;
    return static_cast<int>(SDL_min(deadline_ms - now, static_cast<uint64_t>(60 * 1000)));
}

void handle_waiting_events() {
    if (g_quit_signal != 0) main_loop_quit(0);
    SDL_Event ev;
    while (!main_loop_quitting() && SDL_PeepEvents(&ev, 1, SDL_GETEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) > 0)
        handle_event(ev);
}

/* X11: sleep in poll(2) until the X connection has input, a wake-up or a port change arrives, or
 * the deadline. */
void wait_with_poll(uint64_t deadline_ms) {
    const int wait_ms = g_win.pump_needed ? 0 : wait_ms_until(deadline_ms);
    pollfd fds[3] = {{g_win.x_fd, POLLIN, 0}, {g_win.wake_fd, POLLIN, 0}, {discovery_wait_handle(), POLLIN, 0}};
    const int ready = poll(fds, 3, wait_ms); /* a negative descriptor is left out */
    if (ready > 0 && (fds[2].revents & POLLIN) != 0) {
        discovery_wait_handle_ready();
        app_on_ports_changed();
    }
    if (ready > 0 && (fds[1].revents & POLLIN) != 0) {
        uint64_t count;
        ssize_t n = read(g_win.wake_fd, &count, sizeof count);
        (void)n;
    }
    if (g_win.pump_needed || (ready > 0 && (fds[0].revents & POLLIN) != 0)) {
        g_win.pump_needed = false;
        SDL_PumpEvents();
    }
    handle_waiting_events();
}

/* Any other video driver: SDL's own timed wait. */
void wait_with_sdl(uint64_t deadline_ms) {
    SDL_Event ev;
    if (SDL_WaitEventTimeout(&ev, wait_ms_until(deadline_ms)) != 0) handle_event(ev);
    handle_waiting_events();
}

bool g_x_request_failed = false;
int note_x_error(Display*, XErrorEvent*) {
    g_x_request_failed = true;
    return 0;
}

void shm_close() {
    ShmPresent& shm = g_win.shm;
    if (shm.dpy == nullptr) {
        shm = ShmPresent{};
        return;
    }
    if (shm.segment.shmaddr != nullptr) {
        XShmDetach(shm.dpy, &shm.segment);
        XSync(shm.dpy, False);
        shmdt(shm.segment.shmaddr);
    }
    if (shm.image != nullptr) {
        shm.image->data = nullptr;
        XDestroyImage(shm.image);
    }
    if (shm.gc != nullptr) XFreeGC(shm.dpy, shm.gc);
    XCloseDisplay(shm.dpy);
    shm = ShmPresent{};
}

/* The shared-memory back buffer on the window, or null (logged) when the server cannot share
 * memory with us (a remote display) or its pixels are not XRGB8888 in 3880-byte rows. */
uint8_t* shm_open() {
    ShmPresent& shm = g_win.shm;
    if (g_win.x11_display == nullptr || g_win.x11_window == 0) return nullptr;
    shm.dpy = XOpenDisplay(DisplayString(g_win.x11_display));
    shm.window = g_win.x11_window;
    XWindowAttributes attr;
    if (shm.dpy == nullptr || !XShmQueryExtension(shm.dpy) || XGetWindowAttributes(shm.dpy, shm.window, &attr) == 0 ||
        attr.visual->red_mask != 0xFF0000 || attr.visual->green_mask != 0xFF00 || attr.visual->blue_mask != 0xFF) {
        dbg_log("[Information] no shared-memory present (MIT-SHM or a 24-bit visual missing)\n");
        shm_close();
        return nullptr;
    }
    shm.image = XShmCreateImage(shm.dpy, attr.visual, static_cast<unsigned>(attr.depth), ZPixmap, nullptr, &shm.segment,
                                WINDOW_CLIENT_WIDTH, WINDOW_CLIENT_HEIGHT);
    if (shm.image == nullptr || shm.image->bits_per_pixel != 32 || shm.image->bytes_per_line != WINDOW_STRIDE ||
        shm.image->byte_order != LSBFirst) {
        dbg_log("[Information] no shared-memory present (image layout)\n");
        shm_close();
        return nullptr;
    }
    shm.segment.shmid = shmget(IPC_PRIVATE, static_cast<size_t>(WINDOW_STRIDE) * WINDOW_CLIENT_HEIGHT, IPC_CREAT | 0600);
    void* addr = shm.segment.shmid >= 0 ? shmat(shm.segment.shmid, nullptr, 0) : reinterpret_cast<void*>(-1);
    if (addr == reinterpret_cast<void*>(-1)) {
        dbg_log("[Information] no shared-memory present (shmget/shmat: %s)\n", strerror(errno));
        if (shm.segment.shmid >= 0) shmctl(shm.segment.shmid, IPC_RMID, nullptr);
        shm_close();
        return nullptr;
    }
    shm.segment.shmaddr = shm.image->data = static_cast<char*>(addr);
    shm.segment.readOnly = True;
    /* A server on another machine accepts the extension but fails the attach. */
    g_x_request_failed = false;
    XErrorHandler previous = XSetErrorHandler(note_x_error);
    const bool attached = XShmAttach(shm.dpy, &shm.segment) != 0;
    XSync(shm.dpy, False);
    XSetErrorHandler(previous);
    shmctl(shm.segment.shmid, IPC_RMID, nullptr); /* freed once both sides detach */
    if (!attached || g_x_request_failed) {
        dbg_log("[Information] no shared-memory present (the server cannot attach)\n");
        shmdt(shm.segment.shmaddr);
        shm.segment.shmaddr = nullptr;
        shm_close();
        return nullptr;
    }
    shm.gc = XCreateGC(shm.dpy, shm.window, 0, nullptr);
    shm.completion_event = XShmGetEventBase(shm.dpy) + ShmCompletion;
    return reinterpret_cast<uint8_t*>(shm.segment.shmaddr);
}

void shm_present(const SDL_Rect& r) {
    ShmPresent& shm = g_win.shm;
    XShmPutImage(shm.dpy, shm.window, shm.gc, shm.image, r.x, r.y, r.x, r.y, static_cast<unsigned>(r.w),
                 static_cast<unsigned>(r.h), True);
    ++shm.pending;
    XFlush(shm.dpy);
}

/* Starts the first video driver that shows a real window. SDL would otherwise fall back to its
 * "offscreen" driver when no display can be reached, and the tool would run with no window. */
bool init_video() {
    const char* forced = SDL_getenv("SDL_VIDEODRIVER");
    if (forced != nullptr && forced[0] != '\0') {
        if (SDL_VideoInit(nullptr) == 0) return true;
        dbg_log("[Error] video driver %s: %s\n", forced, SDL_GetError());
        return false;
    }
    for (int i = 0; i < SDL_GetNumVideoDrivers(); ++i) {
        const char* name = SDL_GetVideoDriver(i);
        if (SDL_strcmp(name, "offscreen") == 0 || SDL_strcmp(name, "dummy") == 0 || SDL_strcmp(name, "evdev") == 0)
            continue;
        if (SDL_VideoInit(name) == 0) return true;
        dbg_log("[Information] video driver %s unavailable: %s\n", name, SDL_GetError());
    }
    dbg_log("[Error] no display to open the window on (DISPLAY or WAYLAND_DISPLAY unset?)\n");
    return false;
}

/* SDL's window update from the surface (or from our buffer converted into it). */
void present_surface(const SDL_Rect& r) {
    if (g_win.own_buffer != nullptr) {
        if (SDL_MUSTLOCK(g_win.surface)) SDL_LockSurface(g_win.surface);
        const uint8_t* src = g_win.own_buffer + static_cast<size_t>(r.y) * WINDOW_STRIDE + static_cast<size_t>(r.x) * 4;
        uint8_t* dst = static_cast<uint8_t*>(g_win.surface->pixels) + static_cast<size_t>(r.y) * g_win.surface->pitch +
                       static_cast<size_t>(r.x) * g_win.surface->format->BytesPerPixel;
        SDL_ConvertPixels(r.w, r.h, SDL_PIXELFORMAT_RGB888, src, WINDOW_STRIDE, g_win.surface->format->format, dst,
                          g_win.surface->pitch);
        if (SDL_MUSTLOCK(g_win.surface)) SDL_UnlockSurface(g_win.surface);
    }
    SDL_UpdateWindowSurfaceRects(g_win.window, &r, 1);
    g_win.pump_needed = true; /* the update syncs with the X server and may queue events */
}

} // namespace

/* ---- window.h ---- */

uint8_t* window_back_buffer(BackBufferResult* result) {
    *result = BackBufferResult::Ok;
    if (uint8_t* shared = shm_open()) return shared;
    g_win.surface = g_win.window ? SDL_GetWindowSurface(g_win.window) : nullptr;
    if (g_win.surface == nullptr) {
        dbg_log("[Error] SDL_GetWindowSurface: %s\n", SDL_GetError());
        *result = BackBufferResult::NoSurface;
        return nullptr;
    }
    if (g_win.surface->format->format == SDL_PIXELFORMAT_RGB888 && g_win.surface->pitch == WINDOW_STRIDE &&
        g_win.surface->w == WINDOW_CLIENT_WIDTH && g_win.surface->h == WINDOW_CLIENT_HEIGHT) {
        return static_cast<uint8_t*>(g_win.surface->pixels);
    }
    dbg_log("[Information] window surface %s pitch %d: rendering into a separate buffer\n",
            SDL_GetPixelFormatName(g_win.surface->format->format), g_win.surface->pitch);
    g_win.own_buffer = static_cast<uint8_t*>(aligned_alloc(16, static_cast<size_t>(WINDOW_STRIDE) * WINDOW_CLIENT_HEIGHT));
    if (g_win.own_buffer == nullptr) *result = BackBufferResult::NoMemory;
    return g_win.own_buffer;
}

bool window_exists() { return g_win.window != nullptr; }

bool window_has_focus() { return kb_has_focus(); }

void window_present(int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    if (g_win.window == nullptr || (g_win.surface == nullptr && g_win.shm.dpy == nullptr)) return;
    x1 = SDL_max(x1, 0);
    y1 = SDL_max(y1, 0);
    x2 = SDL_min(x2, WINDOW_CLIENT_WIDTH - 1);
    y2 = SDL_min(y2, WINDOW_CLIENT_HEIGHT - 1);
    if (x2 < x1 || y2 < y1) return;
    SDL_Rect r = {x1, y1, x2 - x1 + 1, y2 - y1 + 1};
    if (g_win.shm.dpy != nullptr) {
        shm_present(r);
    } else {
        present_surface(r);
    }
    if (!g_win.first_frame_logged) {
        g_win.first_frame_logged = true;
        dbg_log("[Debug] first frame shown %u ms after start\n", static_cast<unsigned>(clock_ms() - g_win.start_ms));
    }
}

void window_present_wait() {
    ShmPresent& shm = g_win.shm;
    XEvent ev;
    while (shm.dpy != nullptr && shm.pending > 0) {
        XNextEvent(shm.dpy, &ev); /* sleeps on the connection */
        if (ev.type == shm.completion_event) --shm.pending;
    }
}

const KeyboardPort& window_keyboard() { return g_keyboard_port; }

const char* window_user_language() {
    static char language[32];
    language[0] = '\0';
    SDL_Locale* locales = SDL_GetPreferredLocales();
    if (locales != nullptr && locales[0].language != nullptr)
        SDL_snprintf(language, sizeof language, "%s%s%s", locales[0].language, locales[0].country ? "_" : "",
                     locales[0].country ? locales[0].country : "");
    SDL_free(locales);
    return language;
}

bool window_post_serial_rx() {
    if (g_win.rx_event == 0) return false;
    SDL_Event ev;
    SDL_zero(ev);
    ev.type = g_win.rx_event;
    if (SDL_PushEvent(&ev) != 1) return false; /* queue full or filtered */
    wake_loop();
    return true;
}

void window_post_quit(int code) {
    SDL_Event ev;
    SDL_zero(ev);
    ev.type = g_win.quit_event != 0 ? g_win.quit_event : static_cast<Uint32>(SDL_QUIT);
    ev.user.code = code;
    SDL_PushEvent(&ev);
    wake_loop();
}

void window_set_modal(bool modal) {
    g_win.modal_depth += modal ? 1 : -1;
    if (g_win.modal_depth < 0) g_win.modal_depth = 0;
    if (g_win.modal_depth > 0 || g_win.window == nullptr) return;
    /* the last box closed: what the window was given meanwhile is not for it */
    SDL_PumpEvents();
    SDL_FlushEvents(SDL_KEYDOWN, SDL_MOUSEWHEEL);
    memset(g_win.latched, 0, sizeof g_win.latched);
    /* a press that began before the box must not stay held: its release was dropped */
    if ((SDL_GetMouseState(nullptr, nullptr) & SDL_BUTTON_LMASK) == 0) app_on_pointer_button(false);
}

void window_wait_events(uint64_t deadline_ms) {
    if (g_win.window == nullptr) return;
    if (g_win.x_fd >= 0 && g_win.wake_fd >= 0)
        wait_with_poll(deadline_ms);
    else
        wait_with_sdl(deadline_ms);
}

int window_create() {
    g_win.start_ms = clock_ms();
    /* X11 class hint of the main window. */
    setenv("SDL_VIDEO_X11_WMCLASS", APP_WINDOW_CLASS, 1);
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0"); /* plain window surface: no GPU renderer */
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1"); /* ours: install_quit_signals */
    if (SDL_Init(SDL_INIT_EVENTS) != 0 || !init_video()) {
        SDL_Quit();
        return -1;
    }
    dbg_log("[Information] video driver: %s\n", SDL_GetCurrentVideoDriver());
    const Uint32 first = SDL_RegisterEvents(2);
    if (first != static_cast<Uint32>(-1)) {
        g_win.rx_event = first;
        g_win.quit_event = first + 1;
    }
    g_win.window = SDL_CreateWindow(APP_WINDOW_TITLE, SDL_WINDOWPOS_CENTERED_DISPLAY(0), SDL_WINDOWPOS_CENTERED_DISPLAY(0),
                                    WINDOW_CLIENT_WIDTH, WINDOW_CLIENT_HEIGHT, SDL_WINDOW_HIDDEN);
    if (g_win.window == nullptr) {
        dbg_log("[Error] SDL_CreateWindow: %s\n", SDL_GetError());
        SDL_Quit();
        return -1;
    }
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWindowWMInfo(g_win.window, &info) == SDL_TRUE && info.subsystem == SDL_SYSWM_X11) {
        g_win.x11_window = info.info.x11.window;
        g_win.x11_display = info.info.x11.display;
        g_win.x_fd = XConnectionNumber(info.info.x11.display);
        g_win.wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    }
    install_quit_signals();
    return 0;
}

void window_show() {
    if (g_win.window != nullptr) SDL_ShowWindow(g_win.window);
}

void window_destroy() {
    if (g_win.window == nullptr) return;
    shm_close();
    SDL_DestroyWindow(g_win.window);
    g_win.window = nullptr;
    g_win.surface = nullptr;
    g_win.x11_window = 0;
    /* NOTE: the wake-up descriptor stays open until the process ends: the notifier thread of a
     * port left open at exit runs until static destruction and may still write to it. */
    SDL_Quit();
}

unsigned long window_sdl_x11_window() {
    return g_win.window != nullptr && (SDL_GetWindowFlags(g_win.window) & SDL_WINDOW_SHOWN) != 0 ? g_win.x11_window : 0;
}
