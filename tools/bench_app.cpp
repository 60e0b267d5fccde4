/**
 * Figures of the application shell:
 *  - launch to first frame of the real program (needs an X display: DISPLAY, or Xvfb is started);
 *  - full-screen render time of the main screen (in process, window-less display);
 *  - CPU of the real program left alone (the first 10 s, and the steady idle after them), and
 *    its resident memory.
 *
 * Usage: bench_app [path/to/servo_tool]   (default: ../servo_tool beside this bench's folder)
 * The program is started from its own folder, where its picture is.
 */
#include "common/platform.h"
#include "ui/screen.h"

#include "lvgl.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>


namespace {

using Clock = std::chrono::steady_clock;

double ms_since(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

std::string dir_of(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

/* ---------- in-process render ---------- */

std::vector<uint8_t> g_frame;
uint32_t g_now = 0;

void render_bench() {
    lv_init();
    lv_tick_set_cb([] { return g_now; });
    lv_display_t* disp = lv_display_create(UI_SCREEN_WIDTH, UI_SCREEN_HEIGHT);
    lv_display_set_color_format(disp, LV_COLOR_FORMAT_XRGB8888);
    g_frame.assign(static_cast<size_t>(UI_SCREEN_WIDTH) * UI_SCREEN_HEIGHT * 4, 0);
    lv_display_set_flush_cb(disp, [](lv_display_t* d, const lv_area_t*, uint8_t*) { lv_display_flush_ready(d); });
    lv_display_set_buffers(disp, g_frame.data(), nullptr, static_cast<uint32_t>(g_frame.size()),
                           LV_DISPLAY_RENDER_MODE_FULL);

    const auto t_build = Clock::now();
    if (!main_ui_build()) {
        printf("render: the picture file is missing in the working directory; skipped\n");
        return;
    }
    const double build_ms = ms_since(t_build);

    std::vector<double> samples;
    for (int i = 0; i < 30; ++i) {
        lv_obj_invalidate(lv_screen_active());
        const auto t0 = Clock::now();
        lv_refr_now(disp);
        samples.push_back(ms_since(t0));
    }
    std::sort(samples.begin(), samples.end());
    printf("screen build (main_ui_build):      %8.2f ms\n", build_ms);
    printf("full-screen render, median of 30:  %8.2f ms (min %.2f, max %.2f)\n", samples[samples.size() / 2],
           samples.front(), samples.back());
}

/* ---------- the real program ---------- */

pid_t g_xvfb = -1;

bool ensure_display() {
    if (getenv("DISPLAY") != nullptr) return true;
    int fds[2];
    if (pipe(fds) != 0) return false;
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

/* CPU share of pid over `seconds`, while draining its log so that it never blocks on it. */
double cpu_percent_over(pid_t pid, int log_fd, int seconds) {
    unsigned long long t0 = 0, t1 = 0;
    read_cpu_ns(pid, &t0);
    const auto w0 = Clock::now();
    for (int i = 0; i < seconds * 10; ++i) {
        usleep(100 * 1000);
        char sink[4096];
        while (read(log_fd, sink, sizeof sink) > 0) {
        }
    }
    read_cpu_ns(pid, &t1);
    const double wall_s = ms_since(w0) / 1000.0;
    const double cpu_s = static_cast<double>(t1 - t0) / 1e9;
    return 100.0 * cpu_s / wall_s;
}

void program_bench(const std::string& program) {
    if (access(program.c_str(), X_OK) != 0) {
        printf("program %s not found; launch, idle CPU and memory skipped\n", program.c_str());
        return;
    }
    if (!ensure_display()) {
        printf("no X display and Xvfb could not be started; skipped\n");
        return;
    }
    int err[2];
    if (pipe(err) != 0) return;
    const auto t_launch = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(err[1], 2);
        close(err[0]);
        if (chdir(dir_of(program).c_str()) != 0) _exit(126);
        execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(err[1]);

    /* Read the program's log until its first frame is shown. */
    std::string log;
    double first_frame_ms = -1;
    while (first_frame_ms < 0 && ms_since(t_launch) < 10000) {
        pollfd pfd = {err[0], POLLIN, 0};
        if (poll(&pfd, 1, 100) > 0) {
            char buf[4096];
            const ssize_t n = read(err[0], buf, sizeof buf);
            if (n <= 0) break;
            log.append(buf, static_cast<size_t>(n));
            if (log.find("first frame shown") != std::string::npos) first_frame_ms = ms_since(t_launch);
        }
    }
    const int flags = fcntl(err[0], F_GETFL);
    fcntl(err[0], F_SETFL, flags | O_NONBLOCK);
    if (first_frame_ms < 0) {
        printf("the program showed no frame within 10 s; its log:\n%s\n", log.c_str());
    } else {
        const size_t drv = log.find("video driver: ");
        if (drv != std::string::npos) printf("program's video driver:            %s\n", log.substr(drv + 14, log.find('\n', drv) - drv - 14).c_str());
        const size_t at = log.find("first frame shown");
        printf("launch to first frame:             %8.1f ms (program's own count: %s)\n", first_frame_ms,
               log.substr(at + 18, log.find('\n', at) - at - 18).c_str());

        /* Two windows: the first seconds after start (the cursor blinks, the tick runs at full
         * rate), and the steady idle once the user has been away for a while. */
        usleep(1000 * 1000);
        const double first = cpu_percent_over(pid, err[0], 10);
        const double steady = cpu_percent_over(pid, err[0], 10);
        printf("CPU, 1 s to 11 s after start:      %8.2f %% of one core\n", first);
        printf("CPU, steady idle (11 s to 21 s):   %8.2f %% of one core\n", steady);
        printf("resident memory (VmRSS / VmHWM):   %8ld / %ld kB\n", status_kb(pid, "VmRSS:"),
               status_kb(pid, "VmHWM:"));
    }
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    close(err[0]);
}

} // namespace

int main(int argc, char** argv) {
    std::string self = argv[0];
    const std::string program = argc > 1 ? argv[1] : dir_of(dir_of(self)) + "/servo_tool";
    if (chdir(dir_of(program).c_str()) != 0) perror("chdir");
    render_bench();
    program_bench(program);
    if (g_xvfb > 0) {
        kill(g_xvfb, SIGTERM);
        waitpid(g_xvfb, nullptr, 0);
    }
    return 0;
}
