/**
 * Figures of the application shell, each as min / median / max over several runs, with its goal:
 *
 *  1. Frames in the program's own configuration: in a child process, the program's own window
 *     (app/window_sdl.cpp on the X display), display bridge (app/display_input.cpp), start-up
 *     (app_create) and tick (app_tick) run a scripted session: start, ten clicks on "中/EN",
 *     a click into the type field and its blinking cursor. Every frame LVGL refreshes is timed
 *     from the display's own events: render (RENDER_START .. FLUSH_START), present (the flush
 *     callback: copy and window update) and the whole refresh (layout included).
 *  2. Launch of the real program (exec .. the first frame read back from the X server): the
 *     window's pixels are fetched (MIT-SHM) at every damage the server reports, for the first
 *     3 s. The settled screen is the window's content at 3 s; the figures are when the window
 *     first showed anything, when it first showed the settled screen, and how the first frame
 *     differs from the settled one. Then the program's CPU from 11 s to 16 s (steady idle: the
 *     cursor rests after 10 s without input) and its memory.
 *
 * Usage: bench_app [--runs N] [--launches N] [path/to/servo_tool]
 *   (default program: ../servo_tool beside this bench's folder; it is started from its own folder,
 *   where its picture is). Needs an X display: DISPLAY, or Xvfb is started.
 */
#include "app/app.h"
#include "app/window.h"
#include "common/clock.h"
#include "common/debug_log.h"
#include "ui/screen.h"

#include "lvgl.h"
#include "tools/bench_stats.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <X11/extensions/Xdamage.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <climits>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double ms_between(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double, std::milli>(b - a).count();
}
double ms_since(Clock::time_point t0) { return ms_between(t0, Clock::now()); }

std::string dir_of(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

/* ---------- an X display ---------- */

pid_t g_xvfb = -1;

bool ensure_display() {
    if (getenv("DISPLAY") != nullptr) return true;
    int fds[2];
    if (pipe(fds) != 0) return false;
    fflush(stdout);
    g_xvfb = fork();
    if (g_xvfb == 0) {
        close(fds[0]);
        const std::string fd = std::to_string(fds[1]);
        int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 1);
        dup2(devnull, 2);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    /* Read up to the newline: Xvfb dies if the pipe closes before it has written it all. */
    char num[16] = {};
    size_t got = 0;
    while (got < sizeof num - 1 && (got == 0 || num[got - 1] != '\n')) {
        const ssize_t n = read(fds[0], num + got, sizeof num - 1 - got);
        if (n <= 0) break;
        got += static_cast<size_t>(n);
    }
    close(fds[0]);
    if (got == 0) return false;
    std::string display = ":" + std::string(num, strcspn(num, "\n"));
    setenv("DISPLAY", display.c_str(), 1);
    /* The number can come before the server takes clients: wait until its socket answers. */
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    snprintf(addr.sun_path, sizeof addr.sun_path, "/tmp/.X11-unix/X%s", display.c_str() + 1);
    for (int i = 0; i < 250; ++i) {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        const bool up = fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
        if (fd >= 0) close(fd);
        if (up) break;
        usleep(20 * 1000);
    }
    printf("started Xvfb on %s\n", display.c_str());
    return true;
}

/* ---------- 1. frames in the program's own configuration ---------- */

/* What one frame cost, in milliseconds. */
struct FrameCost {
    float refresh; /* REFR_START .. REFR_READY: layout, render, present */
    float render;  /* RENDER_START .. FLUSH_START */
    float present; /* FLUSH_START .. FLUSH_FINISH: the flush callback */
    float cpu;     /* CPU time of the UI thread over render and present (wall time less waits and preemption) */
    uint8_t phase;
};

enum Phase : uint8_t { PHASE_START, PHASE_CLICKS, PHASE_CURSOR, PHASE_COUNT };
const char* const PHASE_NAMES[PHASE_COUNT] = {"start-up (first 1 s)", "10 clicks on 中/EN", "text cursor blinking 2 s"};

double thread_cpu_ms() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

struct FrameProbe {
    Clock::time_point refr_start, render_start, flush_start;
    double cpu_start = 0;
    bool rendering = false;
    FrameCost current = {};
    uint8_t phase = PHASE_START;
    std::vector<FrameCost> frames;
};
FrameProbe g_probe;

void on_display_event(lv_event_t* e) {
    const auto now = Clock::now();
    switch (lv_event_get_code(e)) {
    case LV_EVENT_REFR_START: g_probe.refr_start = now; g_probe.rendering = false; break;
    case LV_EVENT_RENDER_START:
        g_probe.render_start = now;
        g_probe.rendering = true;
        g_probe.current = FrameCost{};
        g_probe.cpu_start = thread_cpu_ms();
        break;
    case LV_EVENT_FLUSH_START:
        g_probe.flush_start = now;
        g_probe.current.render += static_cast<float>(ms_between(g_probe.render_start, now));
        break;
    case LV_EVENT_FLUSH_FINISH:
        g_probe.current.present += static_cast<float>(ms_between(g_probe.flush_start, now));
        g_probe.current.cpu = static_cast<float>(thread_cpu_ms() - g_probe.cpu_start);
        g_probe.render_start = now; /* a partial mode would render the next part from here */
        break;
    case LV_EVENT_REFR_READY:
        if (g_probe.rendering) { /* a refresh with nothing invalid renders nothing: not a frame */
            g_probe.current.refresh = static_cast<float>(ms_between(g_probe.refr_start, now));
            g_probe.current.phase = g_probe.phase;
            g_probe.frames.push_back(g_probe.current);
        }
        break;
    default: break;
    }
}

/* The program's loop round (app/main_loop.cpp): wait for events until the tick is due, tick. */
void run_program_for(uint32_t ms) {
    const uint64_t end = clock_ms() + ms; /* the program's clock */
    static uint64_t next_tick = 0;
    while (true) {
        const uint64_t now = clock_ms();
        if (now >= end) break;
        if (next_tick == 0 || next_tick > now + APP_IDLE_TICK_PERIOD_MS) next_tick = now;
        window_wait_events(std::min(next_tick, end));
        if (clock_ms() >= next_tick) {
            app_tick();
            next_tick = clock_ms() + app_tick_period_ms();
        }
    }
}

void click_on(lv_obj_t* obj) {
    lv_area_t a;
    lv_obj_get_coords(obj, &a);
    app_on_pointer_move((a.x1 + a.x2) / 2, (a.y1 + a.y2) / 2);
    run_program_for(40);
    app_on_pointer_button(true);
    run_program_for(100);
    app_on_pointer_button(false);
}

void quiet_log(const char*) {}

/* The child: the program's own start-up and loop under the script. Writes its frames to fd. */
[[noreturn]] void frames_child(int fd) {
    dbg_log_set_sink(quiet_log);
    if (window_create() != 0 || app_create() != 0) _exit(2);
    lv_display_add_event_cb(lv_display_get_default(), on_display_event, LV_EVENT_ALL, nullptr);
    window_show();
    g_probe.phase = PHASE_START;
    run_program_for(1000);
    g_probe.phase = PHASE_CLICKS;
    for (int i = 0; i < 10; ++i) {
        click_on(ui_lang_button);
        run_program_for(400);
    }
    g_probe.phase = PHASE_CURSOR;
    click_on(ui_type_input);
    run_program_for(2000);
    const size_t bytes = g_probe.frames.size() * sizeof(FrameCost);
    const bool ok = write(fd, g_probe.frames.data(), bytes) == static_cast<ssize_t>(bytes);
    _exit(ok ? 0 : 3);
}

bool run_frames_child(std::vector<FrameCost>* frames) {
    int p[2];
    if (pipe(p) != 0) return false;
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        close(p[0]);
        frames_child(p[1]);
    }
    close(p[1]);
    std::vector<char> data;
    char buf[65536];
    ssize_t n;
    while ((n = read(p[0], buf, sizeof buf)) > 0)
        data.insert(data.end(), buf, buf + n);
    close(p[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return false;
    frames->resize(data.size() / sizeof(FrameCost));
    memcpy(frames->data(), data.data(), frames->size() * sizeof(FrameCost));
    return true;
}

void frames_bench(int runs) {
    printf("\n1. Frames in the program's own configuration (window, display bridge and tick of the program;\n"
           "   min / median / max over %d runs of the per-run figure)\n",
           runs);
    std::vector<double> med_sum, p90_sum, max_sum, med_render, med_present, med_refresh, med_cpu, count[PHASE_COUNT],
        phase_med[PHASE_COUNT], per_click, cpu_per_click;
    for (int r = 0; r < runs; ++r) {
        std::vector<FrameCost> frames;
        if (!run_frames_child(&frames)) {
            printf("  run %d: the program's window could not be started; skipped\n", r + 1);
            continue;
        }
        std::vector<double> sum, render, present, refresh, cpu, by_phase[PHASE_COUNT];
        double click_ms = 0;
        for (const FrameCost& f : frames) {
            sum.push_back(f.render + f.present);
            render.push_back(f.render);
            present.push_back(f.present);
            refresh.push_back(f.refresh);
            cpu.push_back(f.cpu);
            by_phase[f.phase].push_back(f.render + f.present);
            if (f.phase == PHASE_CLICKS) click_ms += f.refresh;
        }
        med_sum.push_back(median_of(sum));
        p90_sum.push_back(percentile_of(sum, 0.9));
        max_sum.push_back(*std::max_element(sum.begin(), sum.end()));
        med_render.push_back(median_of(render));
        med_present.push_back(median_of(present));
        med_refresh.push_back(median_of(refresh));
        med_cpu.push_back(median_of(cpu));
        for (int ph = 0; ph < PHASE_COUNT; ++ph) {
            count[ph].push_back(static_cast<double>(by_phase[ph].size()));
            phase_med[ph].push_back(median_of(by_phase[ph]));
        }
        per_click.push_back(static_cast<double>(by_phase[PHASE_CLICKS].size()) / 10.0);
        cpu_per_click.push_back(click_ms / 10.0);
    }
    print_figure("render + present per frame, median", med_sum, "ms", "(goal: < 1.0 ms)");
    print_figure("render + present per frame, p90", p90_sum, "ms", "");
    print_figure("render + present per frame, max", max_sum, "ms", "");
    print_figure("render per frame, median", med_render, "ms", "");
    print_figure("present per frame, median", med_present, "ms", "");
    print_figure("whole refresh (layout too) per frame, median", med_refresh, "ms", "");
    print_figure("UI thread CPU in render + present, median", med_cpu, "ms", "(less preemption)");
    for (int ph = 0; ph < PHASE_COUNT; ++ph) {
        char name[96];
        snprintf(name, sizeof name, "frames in %s", PHASE_NAMES[ph]);
        print_figure(name, count[ph], "", "");
        snprintf(name, sizeof name, "  their render + present, median");
        print_figure(name, phase_med[ph], "ms", "");
    }
    print_figure("frames per language switch (click)", per_click, "", "");
    print_figure("refresh CPU per language switch", cpu_per_click, "ms", "");
}

/* ---------- 2. launch of the real program ---------- */

/* CPU time of every thread of pid in nanoseconds (the scheduler's own count: the tick-based
 * figures of /proc/<pid>/stat are too coarse for a program that idles at under 1 %). */
bool read_cpu_ns(pid_t pid, unsigned long long* ns) {
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/task", pid);
    DIR* dir = opendir(path);
    if (dir == nullptr) return false;
    unsigned long long total = 0;
    while (const dirent* e = readdir(dir)) {
        if (e->d_name[0] == '.') continue;
        char stat_path[300];
        snprintf(stat_path, sizeof stat_path, "/proc/%d/task/%s/schedstat", pid, e->d_name);
        FILE* f = fopen(stat_path, "r");
        if (f == nullptr) continue; /* the thread just ended */
        unsigned long long run = 0;
        if (fscanf(f, "%llu", &run) == 1) total += run;
        fclose(f);
    }
    closedir(dir);
    *ns = total;
    return true;
}

long status_kb(pid_t pid, const char* key) {
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/status", pid);
    FILE* f = fopen(path, "r");
    if (f == nullptr) return -1;
    char line[256];
    long value = -1;
    while (fgets(line, sizeof line, f) != nullptr)
        if (strncmp(line, key, strlen(key)) == 0) value = strtol(line + strlen(key), nullptr, 10);
    fclose(f);
    return value;
}

void drain(int fd) {
    char sink[4096];
    while (read(fd, sink, sizeof sink) > 0) {
    }
}

bool g_x_error = false;
int ignore_x_error(Display*, XErrorEvent*) {
    g_x_error = true;
    return 0;
}

/* The window's pixels, fetched through a shared-memory image. */
struct Capture {
    Display* dpy = nullptr;
    XShmSegmentInfo shm = {};
    XImage* image = nullptr;
    int damage_event = 0;

    bool open() {
        dpy = XOpenDisplay(nullptr);
        int damage_error = 0;
        if (dpy == nullptr || !XShmQueryExtension(dpy) || !XDamageQueryExtension(dpy, &damage_event, &damage_error))
            return false;
        Visual* visual = DefaultVisual(dpy, DefaultScreen(dpy));
        image = XShmCreateImage(dpy, visual, 24, ZPixmap, nullptr, &shm, WINDOW_CLIENT_WIDTH, WINDOW_CLIENT_HEIGHT);
        if (image == nullptr) return false;
        shm.shmid = shmget(IPC_PRIVATE, static_cast<size_t>(image->bytes_per_line) * image->height, IPC_CREAT | 0600);
        shm.shmaddr = image->data = static_cast<char*>(shmat(shm.shmid, nullptr, 0));
        shm.readOnly = False;
        XShmAttach(dpy, &shm);
        XSync(dpy, False);
        shmctl(shm.shmid, IPC_RMID, nullptr);
        XSetErrorHandler(ignore_x_error);
        XSelectInput(dpy, DefaultRootWindow(dpy), SubstructureNotifyMask);
        return true;
    }

    /* The window's pixels as 0x00RRGGBB, or an empty vector while it cannot be read. */
    std::vector<uint32_t> grab(Window w) {
        g_x_error = false;
        const bool ok = XShmGetImage(dpy, w, image, 0, 0, AllPlanes) != 0;
        XSync(dpy, False);
        if (!ok || g_x_error) return {};
        std::vector<uint32_t> px(static_cast<size_t>(WINDOW_CLIENT_WIDTH) * WINDOW_CLIENT_HEIGHT);
        for (int y = 0; y < WINDOW_CLIENT_HEIGHT; ++y) {
            const char* line = image->data + static_cast<size_t>(y) * image->bytes_per_line;
            const uint32_t* row = reinterpret_cast<const uint32_t*>(line);
            for (int x = 0; x < WINDOW_CLIENT_WIDTH; ++x)
                px[static_cast<size_t>(y) * WINDOW_CLIENT_WIDTH + x] = row[x] & 0xFFFFFFu;
        }
        return px;
    }
};

long pixels_differing(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b) {
    if (a.size() != b.size()) return -1;
    long n = 0;
    for (size_t i = 0; i < a.size(); ++i)
        n += a[i] != b[i];
    return n;
}

bool uniform(const std::vector<uint32_t>& px) {
    return std::all_of(px.begin(), px.end(), [&](uint32_t p) { return p == px.front(); });
}

struct LaunchRun {
    double first_shown_ms = -1;   /* the window first showed something drawn (not one plain colour) */
    double first_settled_ms = -1; /* the window first showed the settled screen */
    long first_vs_settled = -1;   /* pixels in which the first drawn frame differs from the settled one */
    double contents = 0;          /* window contents seen in the first 3 s (each differs from the one before) */
    double contents_before_settled = 0; /* drawn contents shown before the settled screen */
    double cpu_percent = -1;      /* 11 s .. 16 s after exec */
    double rss_kb = -1, hwm_kb = -1;
};

constexpr int SETTLE_MS = 3000;
constexpr int IDLE_FROM_MS = 11000; /* the focused field's cursor rests 10 s after start without input */
constexpr int CPU_WINDOW_MS = 5000;

bool launch_once(Capture& cap, const std::string& program, LaunchRun* out) {
    int err[2];
    if (pipe(err) != 0) return false;
    XSync(cap.dpy, True); /* forget what earlier runs left */
    fflush(stdout);
    const auto t_exec = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(err[1], 2);
        close(err[0]);
        if (chdir(dir_of(program).c_str()) != 0) _exit(126);
        execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(err[1]);
    fcntl(err[0], F_SETFL, fcntl(err[0], F_GETFL) | O_NONBLOCK);

    Window win = 0;
    Damage damage = 0;
    std::vector<std::pair<double, std::vector<uint32_t>>> seen; /* (ms after exec, pixels) when they changed */
    const int xfd = ConnectionNumber(cap.dpy);
    while (ms_since(t_exec) < SETTLE_MS) {
        drain(err[0]);
        pollfd pfd = {xfd, POLLIN, 0};
        if (XPending(cap.dpy) == 0) poll(&pfd, 1, 5);
        bool damaged = false;
        while (XPending(cap.dpy) > 0) {
            XEvent ev;
            XNextEvent(cap.dpy, &ev);
            if (ev.type == CreateNotify && win == 0 && ev.xcreatewindow.width == WINDOW_CLIENT_WIDTH &&
                ev.xcreatewindow.height == WINDOW_CLIENT_HEIGHT) {
                win = ev.xcreatewindow.window;
                damage = XDamageCreate(cap.dpy, win, XDamageReportNonEmpty);
            } else if (ev.type == cap.damage_event + XDamageNotify) {
                damaged = true;
            }
        }
        if (!damaged) continue;
        XDamageSubtract(cap.dpy, damage, None, None);
        std::vector<uint32_t> px = cap.grab(win);
        const double at = ms_since(t_exec);
        if (!px.empty() && (seen.empty() || px != seen.back().second)) seen.emplace_back(at, std::move(px));
    }
    bool ok = false;
    if (win != 0) {
        /* The settled screen: what the window shows in the last second, when only the focused
         * field's cursor blinks (two contents). */
        std::vector<std::vector<uint32_t>> settled;
        for (const auto& [at, px] : seen)
            if (at >= SETTLE_MS - 1000 && std::find(settled.begin(), settled.end(), px) == settled.end())
                settled.push_back(px);
        std::vector<uint32_t> last = cap.grab(win);
        if (!last.empty() && std::find(settled.begin(), settled.end(), last) == settled.end())
            settled.push_back(std::move(last));
        if (!settled.empty() && !uniform(settled.front())) {
            ok = true;
            out->contents = static_cast<double>(seen.size());
            for (const auto& [at, px] : seen) {
                if (out->first_shown_ms < 0 && !uniform(px)) {
                    out->first_shown_ms = at;
                    out->first_vs_settled = -1;
                    for (const auto& s : settled) {
                        const long d = pixels_differing(px, s);
                        if (out->first_vs_settled < 0 || d < out->first_vs_settled) out->first_vs_settled = d;
                    }
                }
                if (std::find(settled.begin(), settled.end(), px) != settled.end()) {
                    out->first_settled_ms = at;
                    break;
                }
            }
            out->contents_before_settled = 0;
            for (const auto& [at, px] : seen)
                if (at < out->first_settled_ms && !uniform(px)) ++out->contents_before_settled;
        }
        XDamageDestroy(cap.dpy, damage);
    }
    if (ok) {
        while (ms_since(t_exec) < IDLE_FROM_MS) {
            usleep(100 * 1000);
            drain(err[0]);
        }
        unsigned long long c0 = 0, c1 = 0;
        read_cpu_ns(pid, &c0);
        const auto w0 = Clock::now();
        while (ms_since(w0) < CPU_WINDOW_MS) {
            usleep(100 * 1000);
            drain(err[0]);
        }
        read_cpu_ns(pid, &c1);
        out->cpu_percent = 100.0 * static_cast<double>(c1 - c0) / 1e6 / ms_since(w0);
        out->rss_kb = static_cast<double>(status_kb(pid, "VmRSS:"));
        out->hwm_kb = static_cast<double>(status_kb(pid, "VmHWM:"));
    }
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    close(err[0]);
    return ok;
}

void launch_bench(const std::string& program, int runs) {
    printf("\n2. Launch of the real program (%s), min / median / max over %d launches\n", program.c_str(), runs);
    Capture cap;
    if (!cap.open()) {
        printf("  the X server offers no MIT-SHM or DAMAGE extension; skipped\n");
        return;
    }
    std::vector<double> shown, settled, differing, contents, before, cpu, rss, hwm;
    int unsettled = 0;
    for (int r = 0; r < runs; ++r) {
        LaunchRun run;
        if (!launch_once(cap, program, &run)) {
            printf("  launch %d: no window content read back within %d ms; skipped\n", r + 1, SETTLE_MS);
            continue;
        }
        shown.push_back(run.first_shown_ms);
        if (run.first_settled_ms >= 0) settled.push_back(run.first_settled_ms);
        else ++unsettled;
        differing.push_back(static_cast<double>(run.first_vs_settled));
        contents.push_back(run.contents);
        before.push_back(run.contents_before_settled);
        cpu.push_back(run.cpu_percent);
        rss.push_back(run.rss_kb / 1024.0);
        hwm.push_back(run.hwm_kb / 1024.0);
    }
    print_figure("exec -> first drawn frame on the X server", shown, "ms", "");
    print_figure("exec -> first frame that is the settled screen", settled, "ms", "(goal: < 150 ms, median of 10)");
    print_figure("first drawn frame vs settled screen", differing, "px", "(goal: 0 pixels differ)");
    print_figure("drawn frames shown before the settled screen", before, "", "(goal: 0)");
    print_figure("window contents in the first 3 s", contents, "", "(the settled screen, then the cursor blinks)");
    if (unsettled > 0) printf("  (%d launches never showed the settled screen before 3 s)\n", unsettled);
    print_figure("CPU 11 s .. 16 s after exec (steady idle)", cpu, "%", "(of one core)");
    print_figure("resident memory at 16 s (VmRSS)", rss, "MB", "");
    print_figure("peak resident memory (VmHWM)", hwm, "MB", "");
    XCloseDisplay(cap.dpy);
}

void print_machine() {
    char model[512] = "?";
    if (FILE* f = fopen("/proc/cpuinfo", "r")) {
        char line[512];
        while (fgets(line, sizeof line, f) != nullptr)
            if (strncmp(line, "model name", 10) == 0) {
                const char* colon = strchr(line, ':');
                snprintf(model, sizeof model, "%s", colon != nullptr ? colon + 2 : line);
                model[strcspn(model, "\n")] = '\0';
                break;
            }
        fclose(f);
    }
    printf("machine: %ld cores, %s, %ld MB memory\n", sysconf(_SC_NPROCESSORS_ONLN), model,
           sysconf(_SC_PHYS_PAGES) / 1024 * sysconf(_SC_PAGE_SIZE) / 1024);
}

} // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0); /* each figure as soon as it is known */
    int runs = 5, launches = 10;
    std::string program = dir_of(dir_of(argv[0])) + "/servo_tool";
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--runs") == 0 && i + 1 < argc) runs = std::max(1, atoi(argv[++i]));
        else if (strcmp(argv[i], "--launches") == 0 && i + 1 < argc) launches = std::max(0, atoi(argv[++i]));
        else program = argv[i];
    }
    char resolved[PATH_MAX];
    if (access(program.c_str(), X_OK) != 0 || realpath(program.c_str(), resolved) == nullptr) {
        fprintf(stderr, "program %s not found\n", program.c_str());
        return 1;
    }
    program = resolved; /* each launch starts in the program's folder: a relative path would not hold there */
    if (chdir(dir_of(program).c_str()) != 0) perror("chdir");
    print_machine();
    if (!ensure_display()) {
        printf("no X display and Xvfb could not be started\n");
        return 1;
    }
    frames_bench(runs);
    if (launches > 0) launch_bench(program, launches);
    if (g_xvfb > 0) {
        kill(g_xvfb, SIGTERM);
        waitpid(g_xvfb, nullptr, 0);
    }
    return 0;
}
