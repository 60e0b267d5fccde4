/**
 * Serial port on Linux: termios, poll(2) and non-blocking file descriptors.
 *
 * Implements serial/port.h:
 *  - open: O_RDWR | O_NOCTTY | O_NONBLOCK, exclusive use (TIOCEXCL, which keeps other users out,
 *    and flock, which also stops programs running as root that honour it);
 *  - configure: raw mode, CS8, CSTOPB, no parity, CLOCAL | CREAD, both speeds; tcflush both ways;
 *  - the receive wait: poll for input and for an eventfd that the UI thread writes once it has
 *    read the bytes, or to end the wait on close; no time bound, no periodic wake-up; a hung-up
 *    port (the adapter was pulled) is left out of later waits so that they never spin;
 *  - queued count: FIONREAD; read and write: non-blocking calls bounded by poll;
 *  - close: exclusive mode off, then close.
 * NOTE: the driver queue sizes and the five comm time-outs have no termios counterpart; the write
 * bound comes from the caller's time-out instead.
 * The handle is the file descriptor; it is never 0, so 0 keeps its meaning "never opened".
 */
#include "serial/port.h"

#include "common/clock.h"
#include "common/debug_log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace {

/* The receive wait of the armed port: its descriptor and the wake-up descriptor (an eventfd) that
 * ends a wait from the UI thread. One port at a time is armed; the notifier thread reads this,
 * SerialOpen and SerialClose write it while that thread does not run. */
struct RxWaitState {
    int port_fd = -1;
    int wake_fd = -1;
    bool failed = false; /* the port hung up: only a wake-up ends a wait now */
};
RxWaitState g_rx;
constexpr uint32_t RX_UNARMED_WAIT_MS = 50;

void rx_wake_end() {
    if (g_rx.wake_fd >= 0) close(g_rx.wake_fd);
    g_rx = RxWaitState{};
}


/* Wait of a read whose bytes were queued but not yet there when asked for. */
constexpr int READ_PENDING_WAIT_MS = 100;

int fd_of(port_handle_t h) { return static_cast<int>(h); }

speed_t speed_of(uint32_t baud) {
    switch (baud) {
    case 9600: return B9600;
    case 19200: return B19200;
    case 38400: return B38400;
    case 57600: return B57600;
    case 230400: return B230400;
    default: return B115200;
    }
}

tcflag_t size_flag(uint8_t data_bits) {
    switch (data_bits) {
    case 5: return CS5;
    case 6: return CS6;
    case 7: return CS7;
    default: return CS8;
    }
}

PortIoResult io_result(PortIoStatus status, uint32_t count, int error = 0, int wait_result = 0) {
    return PortIoResult{status, count, error, wait_result};
}

/* Milliseconds left until deadline (real time: the caller's clock may be faked in tests). */
int remaining_ms(const timespec& deadline) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long ms = (deadline.tv_sec - now.tv_sec) * 1000LL + (deadline.tv_nsec - now.tv_nsec) / 1000000LL;
    return ms > 0 ? static_cast<int>(ms) : 0;
}

timespec deadline_after(uint32_t ms) {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    t.tv_sec += ms / 1000;
    t.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (t.tv_nsec >= 1000000000L) {
        t.tv_sec += 1;
        t.tv_nsec -= 1000000000L;
    }
    return t;
}

} // namespace

port_handle_t port_open(const char* name, int* error) {
    if (name == nullptr || name[0] == '\0') {
        *error = ENOENT;
        return PORT_HANDLE_INVALID;
    }
    int fd = open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        *error = errno;
        dbg_log("[warning] open %s: %s\n", name, strerror(*error));
        return PORT_HANDLE_INVALID;
    }
    if (fd == 0) { /* standard input was closed; 0 must keep meaning "no port" */
        const int moved = fcntl(fd, F_DUPFD_CLOEXEC, 1);
        close(fd);
        if (moved < 0) {
            *error = errno;
            return PORT_HANDLE_INVALID;
        }
        fd = moved;
    }
    const char* refusal = nullptr;
    if (!isatty(fd))
        refusal = "not a terminal device";
    else if (flock(fd, LOCK_EX | LOCK_NB) != 0)
        refusal = "held by another program";
    if (refusal != nullptr) {
        *error = errno;
        dbg_log("[warning] open %s: %s (%s)\n", name, refusal, strerror(*error));
        close(fd);
        return PORT_HANDLE_INVALID;
    }
    if (ioctl(fd, TIOCEXCL) != 0) dbg_log("[warning] %s: exclusive mode refused: %s\n", name, strerror(errno));
    return static_cast<port_handle_t>(fd);
}

void port_configure(port_handle_t h, const PortLineSettings& s) {
    const int fd = fd_of(h);
    termios t;
    if (tcgetattr(fd, &t) != 0) {
        dbg_log("[warning] tcgetattr: %s\n", strerror(errno));
    } else {
        cfmakeraw(&t);
        t.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
        t.c_cflag |= size_flag(s.data_bits) | CLOCAL | CREAD;
        if (s.stop_bits == 2) t.c_cflag |= CSTOPB;
        t.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
        if (s.parity_check) t.c_iflag |= INPCK; /* no effect without PARENB */
        t.c_cc[VMIN] = 0;
        t.c_cc[VTIME] = 0;
        cfsetispeed(&t, speed_of(s.baud));
        cfsetospeed(&t, speed_of(s.baud));
        if (tcsetattr(fd, TCSANOW, &t) != 0) dbg_log("[warning] tcsetattr: %s\n", strerror(errno));
    }
    if (tcflush(fd, TCIOFLUSH) != 0) dbg_log("[warning] tcflush: %s\n", strerror(errno));
}

int port_arm_rx_wait(port_handle_t h, int* error) {
    pollfd p = {port_handle_valid(h) ? fd_of(h) : -1, POLLIN, 0};
    if (p.fd < 0 || poll(&p, 1, 0) < 0 || (p.revents & POLLNVAL) != 0) {
        *error = p.fd < 0 || (p.revents & POLLNVAL) != 0 ? EBADF : errno;
        return -1;
    }
    rx_wake_end();
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) {
        *error = errno;
        return -1;
    }
    g_rx.port_fd = p.fd;
    g_rx.failed = false;
    g_rx.wake_fd = wake;
    return 0;
}

int port_wait_rx(port_handle_t h, bool watch_port) {
    const int wake = g_rx.wake_fd;
    if (!port_handle_valid(h) || wake < 0 || fd_of(h) != g_rx.port_fd) {
        clock_sleep_ms(RX_UNARMED_WAIT_MS); /* not armed: nothing can wake this wait */
        return 0;
    }
    watch_port = watch_port && !g_rx.failed;
    pollfd p[2] = {{wake, POLLIN, 0}, {fd_of(h), POLLIN, 0}};
    const int r = poll(p, watch_port ? 2 : 1, -1);
    if (r < 0) return 0; /* EINTR: the caller looks at its state and waits again */
    if ((p[0].revents & POLLIN) != 0) {
        uint64_t count;
        while (read(wake, &count, sizeof count) > 0) {
        }
        return 0;
    }
    if (watch_port && (p[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        /* Hung up or failed: poll would report it again at once. Wait for the close instead. */
        g_rx.failed = true;
        return 0;
    }
    return watch_port && (p[1].revents & POLLIN) != 0 ? 1 : 0;
}

void port_wake_rx_wait(port_handle_t h) {
    const int wake = g_rx.wake_fd;
    if (!port_handle_valid(h) || wake < 0 || fd_of(h) != g_rx.port_fd) return;
    const uint64_t one = 1;
    if (write(wake, &one, sizeof one) < 0) {
        /* the counter is already set: a wake-up is pending anyway */
    }
}

int port_queued(port_handle_t h, uint32_t* count, int* error) {
    int n = 0;
    if (!port_handle_valid(h)) {
        *error = EBADF;
        return -1;
    }
    if (ioctl(fd_of(h), FIONREAD, &n) != 0) {
        *error = errno;
        return -1;
    }
    *count = n > 0 ? static_cast<uint32_t>(n) : 0;
    return 0;
}

PortIoResult port_read(port_handle_t h, uint8_t* buf, uint32_t n) {
    if (!port_handle_valid(h)) return io_result(PortIoStatus::Refused, 0, EBADF);
    const int fd = fd_of(h);
    ssize_t got = read(fd, buf, n);
    if (got >= 0) return io_result(PortIoStatus::Done, static_cast<uint32_t>(got));
    if (errno != EAGAIN && errno != EINTR) return io_result(PortIoStatus::Refused, 0, errno);

    pollfd p = {fd, POLLIN, 0};
    const int r = poll(&p, 1, READ_PENDING_WAIT_MS);
    if (r == 0) return io_result(PortIoStatus::WaitTimedOut, 0);
    if (r < 0) return io_result(PortIoStatus::WaitFailed, 0, errno, r);
    got = read(fd, buf, n);
    if (got < 0) return io_result(PortIoStatus::ResultFailed, 0, errno);
    return io_result(PortIoStatus::Done, static_cast<uint32_t>(got));
}

PortIoResult port_write(port_handle_t h, const uint8_t* data, uint32_t n, uint32_t timeout_ms) {
    if (!port_handle_valid(h)) return io_result(PortIoStatus::Refused, 0, EBADF);
    const int fd = fd_of(h);
    /* The wait is bounded only if the descriptor never blocks. */
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || ((flags & O_NONBLOCK) == 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) != 0))
        return io_result(PortIoStatus::WaitSetupFailed, 0, errno);

    const timespec deadline = deadline_after(timeout_ms);
    uint32_t done = 0;
    ssize_t w = write(fd, data, n);
    if (w < 0 && errno != EAGAIN && errno != EINTR) return io_result(PortIoStatus::Refused, 0, errno);
    if (w > 0) done = static_cast<uint32_t>(w);

    while (done < n) {
        const int left = remaining_ms(deadline);
        if (left == 0) return io_result(PortIoStatus::WaitTimedOut, done);
        pollfd p = {fd, POLLOUT, 0};
        const int r = poll(&p, 1, left);
        if (r == 0) return io_result(PortIoStatus::WaitTimedOut, done);
        if (r < 0) {
            if (errno == EINTR) continue;
            return io_result(PortIoStatus::WaitFailed, done, errno, r);
        }
        if ((p.revents & POLLNVAL) != 0) return io_result(PortIoStatus::WaitFailed, done, EBADF, p.revents);
        w = write(fd, data + done, n - done);
        if (w < 0) {
            if (errno != EAGAIN && errno != EINTR) return io_result(PortIoStatus::ResultFailed, done, errno);
            /* Ready without taking bytes: a hang-up that the write did not report; stop here. */
            if ((p.revents & (POLLERR | POLLHUP)) != 0)
                return io_result(PortIoStatus::WaitFailed, done, EIO, p.revents);
            continue;
        }
        done += static_cast<uint32_t>(w);
    }
    return io_result(PortIoStatus::Done, done);
}

void port_cancel_write(port_handle_t h) {
    if (port_handle_valid(h)) tcflush(fd_of(h), TCOFLUSH);
}

int port_close(port_handle_t h, int* error) {
    if (!port_handle_valid(h)) {
        *error = EBADF;
        return -1;
    }
    if (fd_of(h) == g_rx.port_fd) rx_wake_end(); /* the notifier thread has ended before the close */
    ioctl(fd_of(h), TIOCNXCL); /* a pseudo-terminal outlives our descriptor: leave it usable */
    if (close(fd_of(h)) != 0) {
        *error = errno;
        return -1;
    }
    return 0;
}

PortErrorKind port_error_kind(int error) {
    switch (error) {
    case EACCES:
    case EPERM: return PortErrorKind::AccessDenied;
    case EBADF: return PortErrorKind::InvalidHandle;
    case ENOTTY:
    case EINVAL: return PortErrorKind::BadCommand;
    case EIO:
    case ENXIO:
    case ENODEV: return PortErrorKind::DeviceFailed;
    case ECANCELED: return PortErrorKind::Cancelled;
    case EAGAIN: return PortErrorKind::Incomplete;
    default: return PortErrorKind::Other;
    }
}
