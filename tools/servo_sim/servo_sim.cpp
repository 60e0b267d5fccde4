/**
 * servo_sim: a servo on the other end of a serial line, for trying the tool without hardware
 * and for end-to-end tests. It serves on a fresh pseudo-terminal (printing the path the tool
 * opens) or on a real serial device, echoes what it receives as a one-wire adapter does, and
 * answers as a block-family or register-family servo would (servo_model.cpp).
 *
 * Checklist of the link side:
 *  - pty: raw, reopen-tolerant (the tool closes and reopens its port; the master then sees
 *    hang-ups until a slave end is open again), serves until SIGINT/SIGTERM/SIGHUP;
 *  - device: 115200 8N2 raw; reopened every 500 ms if the adapter goes away;
 *  - answers fall due at their time (late fault) while echo goes out at once;
 *  - writes never block the loop: what the line cannot take yet waits in a bounded buffer.
 */
#include "servo_model.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <getopt.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

using namespace servo_sim;

namespace {

constexpr size_t TX_LIMIT = 64 * 1024; /* a reader that never reads must not grow us without end */
constexpr int HANGUP_RETRY_MS = 10;    /* pty: how often to look for a reopened slave end */
constexpr int DEVICE_RETRY_MS = 500;   /* device: how often to try reopening a vanished adapter */

volatile sig_atomic_t g_stop = 0;

void on_signal(int) {
    g_stop = 1;
}

const char kUsage[] = "Usage: servo_sim [--family block|register] [--device PATH] [--no-echo] [--fault KIND[:N]]...\n"
                      "                 [--late-ms N] [--info-ack HEX] [--log FILE] [--link PATH]\n"
                      "\n"
                      "Plays a servo on a serial line for the servo configuration tool.\n"
                      "Without --device it creates a pseudo-terminal, prints the path of the end to open\n"
                      "(one line on stdout) and serves until interrupted (Ctrl+C, SIGTERM).\n"
                      "\n"
                      "  --family block      answers 8E 00 00 8E with its 30-byte information frame, stores an\n"
                      "                      information write and answers it with one byte (--info-ack), answers\n"
                      "                      81 00 00 81 with the 38-byte parameter block frame, stores a block\n"
                      "                      write (26 40 ...) and answers it with 80 80 80 80 (default)\n"
                      "  --family register   answers the register read requests AF FA 00 0A <code> ... for codes\n"
                      "                      38 3D 3F 50 51 52 53 54 and stores register writes (no answer);\n"
                      "                      it ignores the block-family frames, the information read included\n"
                      "  --device PATH       serve on a serial device (115200 8N2) instead of a pseudo-terminal;\n"
                      "                      use a crossed (null-modem) link to the tool's adapter\n"
                      "  --no-echo           do not send received bytes back (default: echo each byte at once,\n"
                      "                      as the tool's one-wire adapter does)\n"
                      "  --fault KIND[:N]    bend the answers; N limits the fault to the next N answers it fits\n"
                      "                      (default: all). Repeat for several kinds:\n"
                      "                        checksum   checksum one above the right value\n"
                      "                        silent     no answer at all (writes are still stored)\n"
                      "                        late       answer after --late-ms\n"
                      "                        garbage    the bytes 5A C3 17 6D F0 ahead of the answer\n"
                      "                        info-0x80  information reply with byte 1 = 0x80 (checksum right)\n"
                      "                        value      parameter reply with its first value one too high\n"
                      "                                   (block: Gain; register: DATA0), checksum right\n"
                      "  --late-ms N         delay of the late fault in milliseconds (default 300)\n"
                      "  --info-ack HEX      byte that answers an information write (default 01)\n"
                      "  --log FILE          append one line per received frame or stray bytes (RX ...), per\n"
                      "                      answer (TX ...) and per stored write (STORE ...); /dev/stderr works\n"
                      "  --link PATH         also make a symbolic link PATH to the pseudo-terminal end\n"
                      "  --help              show this text\n";

uint64_t now_ms() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

/* Raw 8-bit line at 115200 baud, 8 data bits, no parity, 2 stop bits. Returns false on failure. */
bool configure_line(int fd) {
    termios t{};
    if (tcgetattr(fd, &t) != 0) return false;
    cfmakeraw(&t);
    t.c_cflag &= ~(PARENB | CSIZE | CRTSCTS);
    t.c_cflag |= CS8 | CSTOPB | CLOCAL | CREAD;
    t.c_iflag &= ~(IXON | IXOFF | IXANY);
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    cfsetispeed(&t, B115200);
    cfsetospeed(&t, B115200);
    return tcsetattr(fd, TCSANOW, &t) == 0;
}

struct Link {
    int fd = -1;
    bool is_pty = false;
    std::string path; /* what the tool opens */
};

/* Creates the pty pair; keeps only the master so that the tool's close shows as a hang-up. */
bool open_pty(Link& link) {
    int master = -1, slave = -1;
    char name[PATH_MAX] = {};
    if (openpty(&master, &slave, name, nullptr, nullptr) != 0) {
        fprintf(stderr, "servo_sim: cannot create a pseudo-terminal: %s\n", strerror(errno));
        return false;
    }
    /* Settings of the slave end stay with the pair while the master is open. */
    if (!configure_line(slave)) fprintf(stderr, "servo_sim: cannot set the line to raw: %s\n", strerror(errno));
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    link.fd = master;
    link.is_pty = true;
    link.path = name;
    return true;
}

bool open_device(Link& link, const std::string& path, bool quiet) {
    const int fd = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        if (!quiet) fprintf(stderr, "servo_sim: cannot open %s: %s\n", path.c_str(), strerror(errno));
        return false;
    }
    if (!configure_line(fd)) {
        if (!quiet) fprintf(stderr, "servo_sim: %s is not a serial line: %s\n", path.c_str(), strerror(errno));
        close(fd);
        return false;
    }
    tcflush(fd, TCIOFLUSH);
    link.fd = fd;
    link.is_pty = false;
    link.path = path;
    return true;
}

/* Moves the answers that have fallen due into the transmit buffer, keeping wire order. */
void release_due(std::vector<Outgoing>& pending, uint64_t now, std::vector<uint8_t>& tx, FILE* log) {
    size_t kept = 0;
    for (size_t i = 0; i < pending.size(); ++i) {
        Outgoing& o = pending[i];
        if (o.due_ms > now) {
            if (kept != i) pending[kept] = std::move(o);
            ++kept;
            continue;
        }
        if (!o.is_echo) {
            const std::string hex = hex_bytes(o.bytes.data(), o.bytes.size());
            if (o.note.empty())
                sim_log(log, "TX %s", hex.c_str());
            else
                sim_log(log, "TX %s (%s)", hex.c_str(), o.note.c_str());
        }
        if (tx.size() + o.bytes.size() > TX_LIMIT) {
            sim_log(log, "DROP %zu bytes (the other end is not reading)", tx.size() + o.bytes.size());
            tx.clear();
            continue;
        }
        tx.insert(tx.end(), o.bytes.begin(), o.bytes.end());
    }
    pending.resize(kept);
}

/* Writes what the line takes now. Returns false when the other end has gone. */
bool flush_tx(int fd, std::vector<uint8_t>& tx) {
    while (!tx.empty()) {
        const ssize_t n = write(fd, tx.data(), tx.size());
        if (n > 0) {
            tx.erase(tx.begin(), tx.begin() + n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
        return false;
    }
    return true;
}

int poll_timeout(const std::vector<Outgoing>& pending, const ServoModel& m, uint64_t now) {
    uint64_t next = UINT64_MAX;
    for (const Outgoing& o : pending)
        next = o.due_ms < next ? o.due_ms : next;
    const uint64_t deadline = model_partial_deadline(m);
    if (deadline != 0 && deadline < next) next = deadline;
    if (next == UINT64_MAX) return -1;
    return next <= now ? 0 : static_cast<int>(next - now > 60000 ? 60000 : next - now);
}

void sleep_ms(int ms) {
    timespec ts{ms / 1000, static_cast<long>(ms % 1000) * 1000000L};
    nanosleep(&ts, nullptr); /* a signal cuts it short, which is what we want */
}

struct Options {
    SimOptions sim;
    std::string device;
    std::string log_path;
    std::string link_path;
};

/* Returns -1 to go on, or the exit code (0 after --help, 2 after a usage error). */
int parse_options(int argc, char** argv, Options& o) {
    enum { OPT_FAMILY = 1, OPT_DEVICE, OPT_NO_ECHO, OPT_FAULT, OPT_LATE, OPT_ACK, OPT_LOG, OPT_LINK, OPT_HELP };
    static const option longs[] = {
        {"family", required_argument, nullptr, OPT_FAMILY}, {"device", required_argument, nullptr, OPT_DEVICE},
        {"no-echo", no_argument, nullptr, OPT_NO_ECHO},     {"fault", required_argument, nullptr, OPT_FAULT},
        {"late-ms", required_argument, nullptr, OPT_LATE},  {"info-ack", required_argument, nullptr, OPT_ACK},
        {"log", required_argument, nullptr, OPT_LOG},       {"link", required_argument, nullptr, OPT_LINK},
        {"help", no_argument, nullptr, OPT_HELP},           {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    int c;
    while ((c = getopt_long(argc, argv, "", longs, nullptr)) != -1) {
        char* end = nullptr;
        switch (c) {
        case OPT_FAMILY:
            if (strcmp(optarg, "block") == 0) {
                o.sim.family = Family::Block;
            } else if (strcmp(optarg, "register") == 0) {
                o.sim.family = Family::Register;
            } else {
                fprintf(stderr, "servo_sim: --family takes block or register, not '%s'\n", optarg);
                return 2;
            }
            break;
        case OPT_DEVICE:
            o.device = optarg;
            break;
        case OPT_NO_ECHO:
            o.sim.echo = false;
            break;
        case OPT_FAULT:
            if (!fault_parse(optarg, o.sim)) {
                fprintf(stderr,
                        "servo_sim: unknown fault '%s' (checksum, silent, late, garbage, info-0x80, value; "
                        "optionally :N)\n",
                        optarg);
                return 2;
            }
            break;
        case OPT_LATE: {
            const long v = strtol(optarg, &end, 10);
            if (end == optarg || *end != '\0' || v < 0 || v > 600000) {
                fprintf(stderr, "servo_sim: --late-ms takes milliseconds from 0 to 600000, not '%s'\n", optarg);
                return 2;
            }
            o.sim.late_ms = static_cast<uint32_t>(v);
            break;
        }
        case OPT_ACK: {
            const unsigned long v = strtoul(optarg, &end, 16);
            if (end == optarg || *end != '\0' || v > 0xFF) {
                fprintf(stderr, "servo_sim: --info-ack takes one hexadecimal byte (00 to FF), not '%s'\n", optarg);
                return 2;
            }
            o.sim.info_ack = static_cast<uint8_t>(v);
            break;
        }
        case OPT_LOG:
            o.log_path = optarg;
            break;
        case OPT_LINK:
            o.link_path = optarg;
            break;
        case OPT_HELP:
            fputs(kUsage, stdout);
            return 0;
        default:
            fprintf(stderr, "servo_sim: unknown or incomplete option '%s'\n\n%s", argv[optind - 1], kUsage);
            return 2;
        }
    }
    if (optind < argc) {
        fprintf(stderr, "servo_sim: unexpected argument '%s'\n\n%s", argv[optind], kUsage);
        return 2;
    }
    if (!o.device.empty() && !o.link_path.empty()) {
        fprintf(stderr, "servo_sim: --link applies to the pseudo-terminal only\n");
        return 2;
    }
    return -1;
}

/* Makes PATH a symbolic link to target, replacing an old link (never a regular file). */
bool make_link(const std::string& path, const std::string& target) {
    struct stat st {};
    if (lstat(path.c_str(), &st) == 0) {
        if (!S_ISLNK(st.st_mode)) {
            fprintf(stderr, "servo_sim: %s exists and is not a symbolic link; not replacing it\n", path.c_str());
            return false;
        }
        unlink(path.c_str());
    }
    if (symlink(target.c_str(), path.c_str()) != 0) {
        fprintf(stderr, "servo_sim: cannot make the link %s: %s\n", path.c_str(), strerror(errno));
        return false;
    }
    return true;
}

/* Removes the link only while it still points at our end (another simulator may own it by now). */
void remove_link(const std::string& path, const std::string& target) {
    char buf[PATH_MAX] = {};
    const ssize_t n = readlink(path.c_str(), buf, sizeof buf - 1);
    if (n > 0 && target == std::string(buf, static_cast<size_t>(n))) unlink(path.c_str());
}

} // namespace

int main(int argc, char** argv) {
    Options opt;
    const int rc = parse_options(argc, argv, opt);
    if (rc >= 0) return rc;

    FILE* log = nullptr;
    if (!opt.log_path.empty()) {
        log = fopen(opt.log_path.c_str(), "a");
        if (!log) {
            fprintf(stderr, "servo_sim: cannot open the log %s: %s\n", opt.log_path.c_str(), strerror(errno));
            return 1;
        }
    }

    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGHUP, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
    /* Signals stay blocked except inside ppoll, so one arriving just before the wait is not missed. */
    sigset_t blocked, waiting;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGHUP);
    sigprocmask(SIG_BLOCK, &blocked, &waiting);
    sigdelset(&waiting, SIGINT);
    sigdelset(&waiting, SIGTERM);
    sigdelset(&waiting, SIGHUP);

    Link link;
    if (opt.device.empty() ? !open_pty(link) : !open_device(link, opt.device, false)) return 1;
    if (!opt.link_path.empty() && !make_link(opt.link_path, link.path)) {
        close(link.fd);
        return 1;
    }

    ServoModel model;
    model_init(model, opt.sim, log);
    sim_log(log, "LINE %s", link.path.c_str());
    printf("%s\n", link.path.c_str());
    fflush(stdout);

    std::vector<Outgoing> pending;
    std::vector<uint8_t> tx;
    /* A fresh pty has no slave end open yet; a device is there from the start. */
    bool other_end_present = !link.is_pty;
    uint8_t buf[4096];

    while (!g_stop) {
        uint64_t now = now_ms();
        release_due(pending, now, tx, log);
        model_expire(model, now);

        if (link.fd < 0) {
            /* Device gone: keep trying; bytes meant for it are lost, as on a cut wire. */
            tx.clear();
            sigprocmask(SIG_SETMASK, &waiting, nullptr);
            sleep_ms(DEVICE_RETRY_MS);
            sigprocmask(SIG_BLOCK, &blocked, nullptr);
            if (!g_stop && open_device(link, opt.device, true)) sim_log(log, "LINE %s reopened", link.path.c_str());
            continue;
        }

        pollfd pfd{link.fd, static_cast<short>(POLLIN | (tx.empty() ? 0 : POLLOUT)), 0};
        int timeout = poll_timeout(pending, model, now);
        if (!other_end_present) timeout = timeout < 0 || timeout > HANGUP_RETRY_MS ? HANGUP_RETRY_MS : timeout;
        timespec ts{timeout / 1000, static_cast<long>(timeout % 1000) * 1000000L};
        const int r = ppoll(&pfd, 1, timeout < 0 ? nullptr : &ts, &waiting);
        if (r < 0) {
            if (errno == EINTR) continue;
            fprintf(stderr, "servo_sim: poll failed: %s\n", strerror(errno));
            break;
        }
        if (r == 0) {
            if (!other_end_present && link.is_pty) {
                /* A quiet wait without a hang-up: a slave end is open again. */
                other_end_present = true;
                sim_log(log, "LINE opened");
            }
            continue;
        }

        bool gone = false;
        if (pfd.revents & POLLIN) {
            const ssize_t n = read(link.fd, buf, sizeof buf);
            if (n > 0) {
                if (!other_end_present) sim_log(log, "LINE opened");
                other_end_present = true;
                model_receive(model, buf, static_cast<size_t>(n), now_ms(), pending);
                release_due(pending, now_ms(), tx, log);
            } else if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
                gone = true;
            }
        } else if (pfd.revents & (POLLHUP | POLLERR | POLLNVAL)) {
            gone = true;
        }
        if (!gone && !tx.empty() && !flush_tx(link.fd, tx)) gone = true;

        if (gone && link.is_pty) {
            /* No slave end is open: the tool closed the port. Wait for it to come back. */
            if (other_end_present) sim_log(log, "LINE closed by the other end");
            if (!tx.empty()) sim_log(log, "DROP %zu bytes (nobody listening)", tx.size());
            tx.clear();
            other_end_present = false;
            sigprocmask(SIG_SETMASK, &waiting, nullptr);
            sleep_ms(HANGUP_RETRY_MS);
            sigprocmask(SIG_BLOCK, &blocked, nullptr);
        } else if (gone) {
            sim_log(log, "LINE %s lost", link.path.c_str());
            fprintf(stderr, "servo_sim: %s went away; waiting for it to come back\n", link.path.c_str());
            close(link.fd);
            link.fd = -1;
        }
    }

    sim_log(log, "STOP");
    if (!opt.link_path.empty()) remove_link(opt.link_path, link.path);
    if (link.fd >= 0) close(link.fd);
    if (log) fclose(log);
    return 0;
}
