/* Stand-ins for USB serial adapters in the serial link tests: pseudo-terminal pairs (the program
 * opens the slave by its path, the test plays the servo on the master), a fixture with the port
 * open on one, and a built sysfs/dev tree that discovery can be pointed at. */
#pragma once

#include "serial/comHandle.h"
#include "serial/discovery_linux.h"
#include "tests/core/core_test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace serial_test {

class PtyPair {
  public:
    PtyPair() {
        int slave = -1;
        char name[128] = {};
        if (openpty(&master_, &slave, name, nullptr, nullptr) != 0) {
            ADD_FAILURE() << "openpty: " << strerror(errno);
            return;
        }
        termios t;
        tcgetattr(master_, &t);
        cfmakeraw(&t);
        tcsetattr(master_, TCSANOW, &t);
        fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
        close(slave);
        path_ = name;
    }
    ~PtyPair() { hang_up(); }
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;
    const std::string& path() const { return path_; }
    void send(const std::vector<uint8_t>& bytes) {
        for (size_t done = 0; done < bytes.size();) {
            const ssize_t n = write(master_, bytes.data() + done, bytes.size() - done);
            if (n > 0)
                done += static_cast<size_t>(n);
            else if (errno != EAGAIN)
                break;
        }
    }
    /* What the program sent, up to n bytes or until timeout_ms pass. */
    std::vector<uint8_t> receive(size_t n, int timeout_ms = 2000) {
        std::vector<uint8_t> out(n);
        size_t got = 0;
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        for (pollfd p = {master_, POLLIN, 0}; got < n && std::chrono::steady_clock::now() < end;) {
            const ssize_t r = poll(&p, 1, 10) > 0 ? read(master_, out.data() + got, n - got) : 0;
            got += r > 0 ? static_cast<size_t>(r) : 0;
        }
        out.resize(got);
        return out;
    }
    /* The adapter goes away: the program's end of the line is hung up. */
    void hang_up() {
        if (master_ >= 0) close(master_);
        master_ = -1;
    }

  private:
    int master_ = -1;
    std::string path_;
};

/* The core's fresh start with the port open on a pseudo-terminal whose far end the test plays. */
class PortFixture : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        ASSERT_NE(SerialOpen(pty.path().c_str()), PORT_HANDLE_NONE);
    }
    void TearDown() override {
        clock_set_source(nullptr); /* SerialClose sleeps on the real clock */
        SerialClose();
        CoreFixture::TearDown();
    }
    PtyPair pty;
};

/* Polls cond every millisecond for up to timeout_ms; true once it held. */
inline bool wait_until(const std::function<bool()>& cond, int timeout_ms = 3000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/* Open descriptors (less the one listing them) and threads of this process. */
inline int count_open_fds() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {})) - 1;
}
inline int count_threads() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
}

/* Bytes the open port's driver holds. */
inline int queued_at_port() {
    int n = -1;
    ioctl(static_cast<int>(serial_link_state().g_io_handle.load()), FIONREAD, &n);
    return n;
}

/* CPU time the whole process used so far, in milliseconds. */
inline long cpu_ms() {
    rusage u;
    getrusage(RUSAGE_SELF, &u);
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1000L + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1000L;
}

/* The device folder of a USB adapter's entry. */
inline const std::string USB = "pci0000:00/0000:00:14.0/usb1/1-1/1-1:1.0";

/* A temporary tree shaped like sysfs and /dev: sys() is the tty class directory, dev() the device
 * directory. Its own path holds digits only, so that it never looks like a USB path. */
class PortTree {
  public:
    PortTree() {
        static int count = 0;
        root_ = "/tmp/serial_tree_" + std::to_string(getpid()) + "_" + std::to_string(count++);
        std::filesystem::remove_all(root_);
        std::filesystem::create_directories(sys());
        std::filesystem::create_directories(dev());
    }
    ~PortTree() {
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }
    PortTree(const PortTree&) = delete;
    PortTree& operator=(const PortTree&) = delete;
    std::string sys() const { return root_ + "/sys/class/tty"; }
    std::string dev() const { return root_ + "/dev"; }
    std::string node(const std::string& name) const { return dev() + "/" + name; }
    /* Adds the class entry and its device (complete before it shows), then the node: a link to
     * node_target, a plain file when that is empty, none when add_node is false. */
    void add(const std::string& name, const std::string& bus, const std::string& node_target = "",
             bool add_node = true) {
        namespace fs = std::filesystem;
        device_dirs_[name] = root_ + "/sys/devices/" + (bus.empty() ? "virtual" : bus) + "/" + name;
        const std::string tty_dir = device_dirs_[name] + "/tty/" + name;
        fs::create_directories(tty_dir);
        if (!bus.empty()) fs::create_directory_symlink("../..", tty_dir + "/device");
        fs::create_directory_symlink(fs::relative(tty_dir, sys()), sys() + "/" + name);
        if (add_node && node_target.empty()) close(open(node(name).c_str(), O_CREAT | O_WRONLY, 0644));
        if (add_node && !node_target.empty()) fs::create_symlink(node_target, node(name));
    }
    /* The adapter is pulled: its node goes first, then its class entry and its device. */
    void remove(const std::string& name) {
        std::error_code ec;
        std::filesystem::remove(node(name), ec);
        std::filesystem::remove(sys() + "/" + name, ec);
        std::filesystem::remove_all(device_dirs_[name], ec);
    }

  private:
    std::string root_;
    std::map<std::string, std::string> device_dirs_;
};

/* The core's fresh start with discovery pointed at a built tree, on the test clock. */
class TreeFixture : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        g_test_now = 100000;
        clock_set_source(test_now);
        discovery_set_roots(tree.sys().c_str(), tree.dev().c_str(), true);
    }
    void TearDown() override {
        SerialClose();
        discovery_set_roots(nullptr, nullptr, true);
        CoreFixture::TearDown();
    }
    PortTree tree;
};

} // namespace serial_test
