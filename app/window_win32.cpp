/**
 * Win32 window backend (Windows); the contract is app/window.h.
 *
 * Implements:
 *  - the main window: class name and title from string resources 109 and 103, overlapped with
 *    caption, system menu and minimise box (no sizing, no maximise), a 970 x 660 client area
 *    placed at ((screen width - 970) / 2, (screen height - 660) / 2), icons 107/108, menu 109
 *    with both popups removed at creation, accelerator table 109 (Alt+"?", Alt+"/": About);
 *  - the back buffer: a memory DC holding a top-down 32-bit DIB section, LVGL's only draw
 *    buffer; a present invalidates the rectangle and WM_PAINT block-copies it to the window;
 *  - the wait for messages up to a deadline (MsgWaitForMultipleObjectsEx, then PeekMessage /
 *    TranslateAccelerator / TranslateMessage / DispatchMessage), timer 1 at 5 ms, the
 *    data-arrived message WM_SERIAL_RX posted by the receive thread, a quit message;
 *  - keyboard state for the keypad (GetAsyncKeyState, GetKeyState(VK_CAPITAL), the foreground
 *    window) with a latch for presses shorter than a poll, mouse messages into the pointer
 *    queue, the modal state (EnableWindow), the user's language (GetUserDefaultUILanguage).
 */
#include "app/window_win32.h"

#include "app/app.h"
#include "app/keypad.h"
#include "app/main_loop.h"
#include "app/resources_win32.h"
#include "app/window.h"
#include "common/clock.h"
#include "common/debug_log.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr UINT WM_SERIAL_RX = WM_USER + 100; /* posted by the receive thread: bytes arrived */
constexpr UINT WM_QUIT_REQUEST = WM_USER + 101; /* posted by window_post_quit, wParam = exit code */
constexpr UINT_PTR TICK_TIMER_ID = 1;
constexpr UINT TICK_TIMER_MS = 5;
constexpr int RESOURCE_TEXT_CHARS = 100;
constexpr DWORD WINDOW_STYLE = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
constexpr DWORD LONGEST_WAIT_MS = 60 * 1000;

struct Win32WindowState {
    HINSTANCE instance = nullptr;
    HWND hwnd = nullptr;
    HWND post_target = nullptr; /* kept after destruction: a late post then fails harmlessly */
    HACCEL accelerators = nullptr;
    bool class_registered = false;
    wchar_t title[RESOURCE_TEXT_CHARS] = {};
    wchar_t class_name[RESOURCE_TEXT_CHARS] = {};

    HDC memoryDC = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old_bitmap = nullptr;
    uint8_t* frameBits = nullptr;

    int modal_depth = 0;
    bool presented = false; /* LVGL has flushed a frame */
    bool first_frame_logged = false;
    uint64_t start_ms = 0;

    uint8_t latched[256] = {}; /* keys pressed since the last poll, by virtual-key code */
};

Win32WindowState g_win;

/* ---- keyboard ---- */

bool kb_window_known() { return g_win.hwnd != nullptr; }
bool kb_has_focus() { return g_win.hwnd != nullptr && GetForegroundWindow() == g_win.hwnd; }
bool kb_caps_lock_on() { return (GetKeyState(VK_CAPITAL) & 1) != 0; }
bool kb_shift_down() { return (GetAsyncKeyState(VK_SHIFT) & 0x8000) != 0; }

bool kb_key_down(int vk) {
    if (vk < 0 || vk > 255) return false;
    const bool down = (GetAsyncKeyState(vk) & 0x8000) != 0 || g_win.latched[vk] != 0;
    g_win.latched[vk] = 0; /* a press shorter than a poll is reported once */
    return down;
}

const KeyboardPort g_keyboard_port = {kb_window_known, kb_has_focus, kb_key_down, kb_caps_lock_on, kb_shift_down};

/* ---- the window procedure ---- */

void remove_menu_popups(HWND hwnd) {
    HMENU menu = GetMenu(hwnd);
    if (menu == nullptr) return;
    DeleteMenu(menu, 0, MF_BYPOSITION); /* "文件(&F)" */
    DeleteMenu(menu, 0, MF_BYPOSITION); /* "帮助(&H)" */
    DrawMenuBar(hwnd);
}

void paint(HWND hwnd) {
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(hwnd, &ps);
    const RECT& r = ps.rcPaint;
    if (g_win.memoryDC != nullptr) {
        BitBlt(dc, r.left, r.top, r.right - r.left, r.bottom - r.top, g_win.memoryDC, r.left, r.top, SRCCOPY);
    } else {
        HBRUSH green = CreateSolidBrush(RGB(0, 128, 0));
        FillRect(dc, &r, green);
        DeleteObject(green);
    }
    EndPaint(hwnd, &ps);
    if (g_win.presented && !g_win.first_frame_logged) {
        g_win.first_frame_logged = true;
        dbg_log("[Debug] first frame shown %u ms after start\n", static_cast<unsigned>(clock_ms() - g_win.start_ms));
    }
}

/* Quit from a message: a system modal loop that is running ends on WM_QUIT too. */
void quit_from_message(int code) {
    main_loop_quit(code);
    if (g_win.modal_depth > 0) PostQuitMessage(code);
}

bool is_input_message(UINT msg) {
    return (msg >= WM_KEYFIRST && msg <= WM_KEYLAST) || (msg >= WM_MOUSEFIRST && msg <= WM_MOUSELAST);
}

LRESULT CALLBACK window_proc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    if (g_win.modal_depth > 0 && is_input_message(msg)) return 0; /* a modal box is open */
    switch (msg) {
    case WM_CREATE:
        g_win.hwnd = hwnd;
        g_win.post_target = hwnd;
        remove_menu_popups(hwnd);
        return 0;
    case WM_DESTROY:
        KillTimer(hwnd, TICK_TIMER_ID);
        main_loop_quit(0);
        return 0;
    case WM_CLOSE:
        quit_from_message(0); /* the loop ends and destroys the window after the shell */
        return 0;
    case WM_PAINT:
        paint(hwnd);
        return 0;
    case WM_COMMAND:
        if (LOWORD(wp) == IDM_ABOUT) {
            app_on_about();
            return 0;
        }
        if (LOWORD(wp) == IDM_EXIT) {
            quit_from_message(0);
            return 0;
        }
        break;
    case WM_TIMER:
        /* Outside a modal loop the tick is run by the loop; inside one (message box, About, file
         * dialog) only this message keeps it going. */
        if (wp == TICK_TIMER_ID) main_loop_tick_if_due();
        return 0;
    case WM_SERIAL_RX:
        app_on_serial_rx();
        return 0;
    case WM_QUIT_REQUEST:
        quit_from_message(static_cast<int>(wp));
        return 0;
    case WM_MOUSEMOVE:
        /* the two words of the position, each as unsigned 16-bit */
        app_on_pointer_move(LOWORD(lp), HIWORD(lp));
        return 0;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
        app_on_pointer_button(msg == WM_LBUTTONDOWN);
        return 0;
    case WM_RBUTTONDOWN:
    case WM_RBUTTONUP:
    case WM_MBUTTONDOWN:
    case WM_MBUTTONUP:
    case WM_MOUSEWHEEL:
        app_on_activity();
        return 0;
    case WM_KEYDOWN:
        app_on_activity();
        if ((lp & (1L << 30)) == 0) g_win.latched[wp & 0xFF] = 1; /* a new press, not auto-repeat */
        return 0;
    case WM_SYSKEYDOWN:
        app_on_activity();
        break; /* Alt combinations are no text: the system's own handling (accelerators) */
    case WM_KEYUP:
    case WM_SYSKEYUP:
        app_on_activity();
        if (msg == WM_SYSKEYUP) break;
        return 0;
    default:
        break;
    }
    return DefWindowProcW(hwnd, msg, wp, lp);
}

bool register_class() {
    WNDCLASSEXW wc = {};
    wc.cbSize = sizeof wc;
    wc.style = CS_HREDRAW | CS_VREDRAW;
    wc.lpfnWndProc = window_proc;
    wc.hInstance = g_win.instance;
    wc.hIcon = LoadIconW(g_win.instance, MAKEINTRESOURCEW(IDI_SERVO_TOOL));
    wc.hIconSm = LoadIconW(g_win.instance, MAKEINTRESOURCEW(IDI_SMALL));
    wc.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    wc.lpszMenuName = MAKEINTRESOURCEW(IDC_SERVO_TOOL);
    wc.lpszClassName = g_win.class_name;
    if (RegisterClassExW(&wc) == 0) {
        dbg_log("[Error] RegisterClassExW failed, error=%lu\n", GetLastError());
        return false;
    }
    g_win.class_registered = true;
    return true;
}

/* The frame's size differs between systems and themes: the outer size is what gives a
 * 970 x 660 client area here, measured on the window itself. */
void fit_client_area() {
    RECT client;
    RECT outer;
    if (!GetClientRect(g_win.hwnd, &client) || !GetWindowRect(g_win.hwnd, &outer)) return;
    const int dw = WINDOW_CLIENT_WIDTH - (client.right - client.left);
    const int dh = WINDOW_CLIENT_HEIGHT - (client.bottom - client.top);
    if (dw == 0 && dh == 0) return;
    SetWindowPos(g_win.hwnd, nullptr, 0, 0, outer.right - outer.left + dw, outer.bottom - outer.top + dh,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

} // namespace

/* ---- window_win32.h ---- */

HINSTANCE window_win32_instance() { return g_win.instance; }

HWND window_win32_owner() { return g_win.hwnd != nullptr && IsWindowVisible(g_win.hwnd) ? g_win.hwnd : nullptr; }

/* ---- window.h ---- */

int window_create() {
    g_win.start_ms = clock_ms();
    g_win.instance = GetModuleHandleW(nullptr);
    LoadStringW(g_win.instance, IDS_APP_TITLE, g_win.title, RESOURCE_TEXT_CHARS);
    LoadStringW(g_win.instance, IDC_SERVO_TOOL, g_win.class_name, RESOURCE_TEXT_CHARS);
    if (!g_win.class_registered && !register_class()) return -1;

    RECT outer = {0, 0, WINDOW_CLIENT_WIDTH, WINDOW_CLIENT_HEIGHT};
    AdjustWindowRectEx(&outer, WINDOW_STYLE, FALSE, 0); /* the menu bar is gone once created */
    const int x = (GetSystemMetrics(SM_CXSCREEN) - WINDOW_CLIENT_WIDTH) / 2;
    const int y = (GetSystemMetrics(SM_CYSCREEN) - WINDOW_CLIENT_HEIGHT) / 2;
    HWND hwnd = CreateWindowExW(0, g_win.class_name, g_win.title, WINDOW_STYLE, x, y, outer.right - outer.left,
                                outer.bottom - outer.top, nullptr, nullptr, g_win.instance, nullptr);
    if (hwnd == nullptr) {
        dbg_log("[Error] CreateWindowExW failed, error=%lu\n", GetLastError());
        return -1;
    }
    fit_client_area();
    g_win.accelerators = LoadAcceleratorsW(g_win.instance, MAKEINTRESOURCEW(IDC_SERVO_TOOL));
    return 0;
}

void window_show() {
    if (g_win.hwnd == nullptr) return;
    ShowWindow(g_win.hwnd, SW_SHOWDEFAULT); /* the show command the process was started with */
    InvalidateRect(g_win.hwnd, nullptr, TRUE);
    UpdateWindow(g_win.hwnd);
    SetTimer(g_win.hwnd, TICK_TIMER_ID, TICK_TIMER_MS, nullptr);
}

void window_destroy() {
    if (g_win.hwnd == nullptr) return;
    HWND hwnd = g_win.hwnd;
    g_win.hwnd = nullptr; /* flushes from here on only acknowledge */
    DestroyWindow(hwnd);
    /* The memory DC and its bitmap stay: LVGL's display still points at the bitmap's memory. */
}

void window_wait_events(uint64_t deadline_ms) {
    const uint64_t now = clock_ms();
    if (deadline_ms > now) {
        const DWORD wait = static_cast<DWORD>(std::min<uint64_t>(deadline_ms - now, LONGEST_WAIT_MS));
        MsgWaitForMultipleObjectsEx(0, nullptr, wait, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
    MSG msg;
    while (!main_loop_quitting() && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        if (msg.message == WM_QUIT) {
            main_loop_quit(static_cast<int>(msg.wParam));
            break;
        }
        if (g_win.accelerators != nullptr && g_win.hwnd != nullptr &&
            TranslateAcceleratorW(g_win.hwnd, g_win.accelerators, &msg) != 0)
            continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

bool window_post_serial_rx() {
    return g_win.post_target != nullptr && PostMessageW(g_win.post_target, WM_SERIAL_RX, 0, 0) != 0;
}

void window_post_quit(int code) {
    if (g_win.post_target == nullptr ||
        PostMessageW(g_win.post_target, WM_QUIT_REQUEST, static_cast<WPARAM>(code), 0) == 0)
        PostQuitMessage(code); /* no window (yet): the loop sees WM_QUIT on this thread */
}

void window_set_modal(bool modal) {
    g_win.modal_depth += modal ? 1 : -1;
    if (g_win.modal_depth < 0) g_win.modal_depth = 0;
    if (g_win.hwnd == nullptr) return;
    if (modal) {
        if (g_win.modal_depth == 1) EnableWindow(g_win.hwnd, FALSE);
        return;
    }
    if (g_win.modal_depth > 0) return;
    /* the last box closed: what the window was given meanwhile is not for it */
    MSG msg;
    while (PeekMessageW(&msg, g_win.hwnd, WM_KEYFIRST, WM_KEYLAST, PM_REMOVE)) {
    }
    while (PeekMessageW(&msg, g_win.hwnd, WM_MOUSEFIRST, WM_MOUSELAST, PM_REMOVE)) {
    }
    memset(g_win.latched, 0, sizeof g_win.latched);
    EnableWindow(g_win.hwnd, TRUE);
    if (IsWindowVisible(g_win.hwnd)) SetForegroundWindow(g_win.hwnd);
    /* a press that began before the box must not stay held: its release was dropped */
    if ((GetAsyncKeyState(VK_LBUTTON) & 0x8000) == 0) app_on_pointer_button(false);
}

uint8_t* window_back_buffer(BackBufferResult* result) {
    *result = BackBufferResult::Ok;
    HDC window_dc = g_win.hwnd != nullptr ? GetDC(g_win.hwnd) : nullptr;
    g_win.memoryDC = window_dc != nullptr ? CreateCompatibleDC(window_dc) : nullptr;
    if (g_win.memoryDC == nullptr) {
        dbg_log("[Error] CreateCompatibleDC failed, error=%lu\n", GetLastError());
        if (window_dc != nullptr) ReleaseDC(g_win.hwnd, window_dc);
        *result = BackBufferResult::NoSurface;
        return nullptr;
    }
    BITMAPINFO bmi = {};
    bmi.bmiHeader.biSize = sizeof bmi.bmiHeader;
    bmi.bmiHeader.biWidth = WINDOW_CLIENT_WIDTH;
    bmi.bmiHeader.biHeight = -WINDOW_CLIENT_HEIGHT; /* top-down: row 0 first, as LVGL renders */
    bmi.bmiHeader.biPlanes = 1;
    bmi.bmiHeader.biBitCount = 32;
    bmi.bmiHeader.biCompression = BI_RGB;
    bmi.bmiHeader.biSizeImage = static_cast<DWORD>(WINDOW_STRIDE) * WINDOW_CLIENT_HEIGHT;
    void* bits = nullptr;
    g_win.bitmap = CreateDIBSection(window_dc, &bmi, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (g_win.bitmap == nullptr || bits == nullptr) {
        dbg_log("[Error] CreateDIBSection failed, error=%lu\n", GetLastError());
        if (g_win.bitmap != nullptr) DeleteObject(g_win.bitmap);
        g_win.bitmap = nullptr;
        DeleteDC(g_win.memoryDC);
        g_win.memoryDC = nullptr;
        ReleaseDC(g_win.hwnd, window_dc);
        *result = BackBufferResult::NoMemory;
        return nullptr;
    }
    g_win.old_bitmap = SelectObject(g_win.memoryDC, g_win.bitmap);
    ReleaseDC(g_win.hwnd, window_dc);
    g_win.frameBits = static_cast<uint8_t*>(bits);
    return g_win.frameBits;
}

bool window_exists() { return g_win.hwnd != nullptr; }

void window_present(int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    if (g_win.hwnd == nullptr) return;
    const RECT r = {std::max<LONG>(x1, 0), std::max<LONG>(y1, 0), std::min<LONG>(x2 + 1, WINDOW_CLIENT_WIDTH),
                    std::min<LONG>(y2 + 1, WINDOW_CLIENT_HEIGHT)};
    if (r.right <= r.left || r.bottom <= r.top) return;
    g_win.presented = true;
    InvalidateRect(g_win.hwnd, &r, FALSE);
}

/* WM_PAINT copies from the back buffer on this thread: nothing is ever read behind our back. */
void window_present_wait() {}

bool window_has_focus() { return kb_has_focus(); }

const KeyboardPort& window_keyboard() { return g_keyboard_port; }

const char* window_user_language() {
    static char language[LOCALE_NAME_MAX_LENGTH];
    language[0] = '\0';
    wchar_t name[LOCALE_NAME_MAX_LENGTH] = L"";
    const LANGID id = GetUserDefaultUILanguage();
    if (LCIDToLocaleName(MAKELCID(id, SORT_DEFAULT), name, LOCALE_NAME_MAX_LENGTH, 0) == 0) return language;
    size_t i = 0;
    for (; name[i] != L'\0' && i + 1 < sizeof language; ++i)
        language[i] = name[i] == L'-' ? '_' : static_cast<char>(name[i] & 0x7F); /* "zh-CN" -> "zh_CN" */
    language[i] = '\0';
    return language;
}
