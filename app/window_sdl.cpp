/**
 * SDL2 window backend (Linux).
 *
 * Implements:
 *  - the main window: title, X11 class, 970 x 660 client, fixed size, centred by client size;
 *  - the back buffer: the window surface itself when it is XRGB8888 with a 3880-byte pitch,
 *    else an aligned buffer of ours converted into the surface on present;
 *  - the event loop with the 5 ms tick, the serial-receive wake-up and quit as SDL user events;
 *    on X11 the loop sleeps in poll(2) on the X connection and a wake-up descriptor and pumps
 *    SDL only when there is something to read (SDL's own timed wait costs ~2 % of a core at
 *    200 wake-ups a second);
 *  - keyboard state for the keypad (with a latch for presses shorter than a poll), the pointer
 *    (with queued button changes), the focus test;
 *  - system message boxes and the About box (Alt+"/" or Alt+"?").
 */
#include "app/window_sdl.h"
#include "app/file_dialog_gtk.h"

#include "app/app.h"
#include "app/keypad.h"
#include "app/pointer_input.h"
#include "app/window.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <X11/Xlib.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

struct SdlWindowState {
    SDL_Window* window = nullptr;
    SDL_Surface* surface = nullptr;
    uint8_t* own_buffer = nullptr; /* used when the surface layout differs; null while LVGL draws on the surface */
    Uint32 rx_event = 0;
    Uint32 quit_event = 0;
    bool running = false;
    int exit_code = 0;
    bool first_frame_logged = false;
    uint64_t start_ms = 0;

    /* poll(2) loop: the X connection, and an eventfd written by wake-ups from any thread */
    int x_fd = -1;
    int wake_fd = -1;
    bool pump_needed = true; /* a present may have read events into Xlib's queue */

    /* keyboard */
    uint8_t latched[SDL_NUM_SCANCODES] = {};

    PointerInput pointer;
    uint32_t last_input_ms = 0;
};

SdlWindowState g_win;

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

void show_about_box() {
    const SDL_MessageBoxButtonData ok = {SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT | SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT,
                                         1, "确定"};
    const SDL_MessageBoxData data = {SDL_MESSAGEBOX_INFORMATION, g_win.window, APP_ABOUT_CAPTION,
                                     APP_ABOUT_LINE1 "\n" APP_ABOUT_LINE2, 1, &ok, nullptr};
    int button = 0;
    SDL_ShowMessageBox(&data, &button);
}

void handle_event(const SDL_Event& ev) {
    if (ev.type == SDL_QUIT) {
        g_win.running = false;
        return;
    }
    if (ev.type == g_win.rx_event) {
        app_serial_rx();
        return;
    }
    if (ev.type == g_win.quit_event) {
        g_win.exit_code = ev.user.code;
        g_win.running = false;
        return;
    }
    switch (ev.type) {
    case SDL_MOUSEMOTION:
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        g_win.last_input_ms = clock_ms32();
        break;
    default:
        break;
    }
    switch (ev.type) {
    case SDL_MOUSEMOTION:
        pointer_input_move(g_win.pointer, ev.motion.x, ev.motion.y);
        break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        if (ev.button.button == SDL_BUTTON_LEFT) pointer_input_button(g_win.pointer, ev.type == SDL_MOUSEBUTTONDOWN);
        break;
    case SDL_KEYDOWN:
        if ((ev.key.keysym.mod & KMOD_ALT) != 0 && ev.key.keysym.sym == SDLK_SLASH) {
            show_about_box(); /* Alt+"/" and Alt+"?" (Shift+"/") */
            break;
        }
        if (ev.key.repeat == 0 && ev.key.keysym.scancode < SDL_NUM_SCANCODES) g_win.latched[ev.key.keysym.scancode] = 1;
        break;
    case SDL_WINDOWEVENT:
        if (ev.window.event == SDL_WINDOWEVENT_EXPOSED) window_present(0, 0, WINDOW_CLIENT_WIDTH - 1, WINDOW_CLIENT_HEIGHT - 1);
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

void run_tick_if_due(uint64_t& next_tick) {
    const uint64_t now = clock_ms();
    if (now < next_tick) return;
    app_tick();
    const uint32_t period = app_tick_period_ms();
    next_tick += period;
    if (next_tick <= now) next_tick = now + period; /* fell behind: no burst */
}

/* X11: sleep in poll(2) until the X connection has input, a wake-up arrives or the tick is due. */
void run_poll_loop() {
    uint64_t next_tick = clock_ms() + APP_TICK_PERIOD_MS;
    g_win.running = true;
    while (g_win.running) {
        const uint64_t now = clock_ms();
        const int wait_ms = g_win.pump_needed ? 0 : (next_tick > now ? static_cast<int>(next_tick - now) : 0);
        pollfd fds[2] = {{g_win.x_fd, POLLIN, 0}, {g_win.wake_fd, POLLIN, 0}};
        const int ready = poll(fds, 2, wait_ms);
        if (ready < 0 && errno == EINTR) g_win.pump_needed = true; /* a signal: SDL turns SIGTERM into quit */
        if (ready > 0 && (fds[1].revents & POLLIN) != 0) {
            uint64_t count;
            ssize_t n = read(g_win.wake_fd, &count, sizeof count);
            (void)n;
        }
        if (ready > 0 && (fds[0].revents & POLLIN) != 0 && next_tick > clock_ms() + APP_TICK_PERIOD_MS)
            next_tick = clock_ms() + APP_TICK_PERIOD_MS; /* the user is back: full rate at once */
        if (g_win.pump_needed || (ready > 0 && (fds[0].revents & POLLIN) != 0)) {
            g_win.pump_needed = false;
            SDL_PumpEvents();
        }
        SDL_Event ev;
        while (g_win.running && SDL_PeepEvents(&ev, 1, SDL_GETEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) > 0)
            handle_event(ev);
        if (!g_win.running) break;
        run_tick_if_due(next_tick);
    }
}

/* Any other video driver: SDL's own timed wait. */
void run_sdl_wait_loop() {
    uint64_t next_tick = clock_ms() + APP_TICK_PERIOD_MS;
    g_win.running = true;
    while (g_win.running) {
        const uint64_t now = clock_ms();
        const int wait_ms = next_tick > now ? static_cast<int>(next_tick - now) : 0;
        SDL_Event ev;
        if (SDL_WaitEventTimeout(&ev, wait_ms)) {
            handle_event(ev);
            while (g_win.running && SDL_PollEvent(&ev)) handle_event(ev);
        }
        if (!g_win.running) break;
        run_tick_if_due(next_tick);
    }
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

void run_loop() {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWindowWMInfo(g_win.window, &info) == SDL_TRUE && info.subsystem == SDL_SYSWM_X11) {
        g_win.x_fd = XConnectionNumber(info.info.x11.display);
        g_win.wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    }
    if (g_win.x_fd >= 0 && g_win.wake_fd >= 0)
        run_poll_loop();
    else
        run_sdl_wait_loop();
}

} // namespace

/* ---- window.h ---- */

uint8_t* window_back_buffer(BackBufferResult* result) {
    *result = BackBufferResult::Ok;
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

uint32_t window_last_input_ms() { return g_win.last_input_ms; }

bool window_has_focus() { return kb_has_focus(); }

void window_present(int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    if (g_win.window == nullptr || g_win.surface == nullptr) return;
    x1 = SDL_max(x1, 0);
    y1 = SDL_max(y1, 0);
    x2 = SDL_min(x2, WINDOW_CLIENT_WIDTH - 1);
    y2 = SDL_min(y2, WINDOW_CLIENT_HEIGHT - 1);
    if (x2 < x1 || y2 < y1) return;
    SDL_Rect r = {x1, y1, x2 - x1 + 1, y2 - y1 + 1};
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
    if (!g_win.first_frame_logged) {
        g_win.first_frame_logged = true;
        dbg_log("[Debug] first frame shown %u ms after start\n", static_cast<unsigned>(clock_ms() - g_win.start_ms));
    }
}

const KeyboardPort& window_keyboard() { return g_keyboard_port; }

void window_pointer(int32_t* x, int32_t* y, bool* pressed) { pointer_input_poll(g_win.pointer, x, y, pressed); }

/* ---- the platform port ---- */

namespace {

void sdl_platform_message_box(const char* text, const char* caption, MsgBoxIcon icon) {
    Uint32 flags = SDL_MESSAGEBOX_ERROR;
    if (icon == MsgBoxIcon::Exclamation) flags = SDL_MESSAGEBOX_WARNING;
    if (icon == MsgBoxIcon::Information) flags = SDL_MESSAGEBOX_INFORMATION;
    if (SDL_ShowSimpleMessageBox(flags, caption, text, nullptr) != 0)
        dbg_log("[Error] message box \"%s\" could not be shown: %s\n", text, SDL_GetError());
}

const char* sdl_platform_user_language() {
    static char language[32];
    language[0] = '\0';
    SDL_Locale* locales = SDL_GetPreferredLocales();
    if (locales != nullptr && locales[0].language != nullptr)
        SDL_snprintf(language, sizeof language, "%s%s%s", locales[0].language, locales[0].country ? "_" : "",
                     locales[0].country ? locales[0].country : "");
    SDL_free(locales);
    return language;
}

bool sdl_platform_post_serial_rx() {
    if (g_win.rx_event == 0) return false;
    SDL_Event ev;
    SDL_zero(ev);
    ev.type = g_win.rx_event;
    ev.user.code = 0;
    ev.user.data1 = reinterpret_cast<void*>(1);
    if (SDL_PushEvent(&ev) != 1) return false; /* queue full or filtered */
    wake_loop();
    return true;
}

void sdl_platform_post_quit(int code) {
    SDL_Event ev;
    SDL_zero(ev);
    ev.type = g_win.quit_event != 0 ? g_win.quit_event : static_cast<Uint32>(SDL_QUIT);
    ev.user.code = code;
    SDL_PushEvent(&ev);
    wake_loop();
}

} // namespace

/* ---- process entry ---- */

int window_sdl_main() {
    g_win.start_ms = clock_ms();
    g_win.last_input_ms = clock_ms32();
    /* X11 class hint of the main window. */
    setenv("SDL_VIDEO_X11_WMCLASS", APP_WINDOW_CLASS, 1);
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0"); /* plain window surface: no GPU renderer */
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    if (SDL_Init(SDL_INIT_EVENTS) != 0 || !init_video()) {
        SDL_Quit();
        return 0;
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
        return 0;
    }
    PlatformPort platform = {};
    platform.message_box = sdl_platform_message_box;
    platform.post_serial_rx = sdl_platform_post_serial_rx;
    platform.post_quit = sdl_platform_post_quit;
    platform.user_language = sdl_platform_user_language;
    platform.file_dialog_open_txt = gtk_file_dialog_open_txt;
    platform.file_dialog_save_txt = gtk_file_dialog_save_txt;
    platform_port_set(&platform);
    if (app_create() != 0) {
        SDL_DestroyWindow(g_win.window);
        g_win.window = nullptr;
        SDL_Quit();
        return 0;
    }
    SDL_ShowWindow(g_win.window);
    run_loop();
    app_destroy();

    SDL_DestroyWindow(g_win.window);
    g_win.window = nullptr;
    /* NOTE: the wake-up descriptor stays open until the process ends: the notifier thread of a
     * port left open at exit runs until static destruction and may still write to it. */
    SDL_Quit();
    return g_win.exit_code;
}
