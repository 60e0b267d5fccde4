#include "serial/rx_ring.h"
#include "serial/serial_link.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"
#include "serial/comHandle.h"
#include "serial/port.h"

#include <cstring>

namespace {
RxRingState g_ring;
} // namespace

const RxRingState& rx_ring_state() { return g_ring; }

namespace {

uint32_t g_bytes_read = 0; /* count delivered by the last read */

const char* query_error_text(int error) {
    switch (port_error_kind(error)) {
    case PortErrorKind::AccessDenied: return "串口访问被拒绝";
    case PortErrorKind::InvalidHandle: return "串口句柄无效";
    case PortErrorKind::BadCommand: return "串口设备未识别命令";
    case PortErrorKind::DeviceFailed: return "串口设备未就绪";
    default: return "未知串口错误";
    }
}

const char* read_result_error_text(int error) {
    switch (port_error_kind(error)) {
    case PortErrorKind::InvalidHandle: return "串口句柄无效";
    case PortErrorKind::Cancelled: return "I/O操作被取消";
    case PortErrorKind::Incomplete: return "异步I/O操作未完成";
    default: return "未知重叠I/O错误";
    }
}

/* The ring index after i, wrapped to 0 at the end. */
uint16_t ring_next(uint16_t i) { return i + 1 == RX_RING_SIZE ? 0 : static_cast<uint16_t>(i + 1); }

/* Ends a SerialHandle run: the next received byte may wake the UI thread again, and the notifier
 * thread, which waited for this answer, watches the port again. */
int finish(int result) {
    g_ring.rxNotifyPending = 0;
    port_wake_rx_wait(serial_link().g_io_handle);
    return result;
}

} // namespace

void rx_notifier_run() {
    while (serial_link().g_comm.threadRunning != 0) {
        /* While a wake-up is unanswered the port keeps reporting the same bytes: wait for the
         * answer (or the close) instead of watching it. */
        if (port_wait_rx(serial_link().g_io_handle, g_ring.rxNotifyPending == 0) != 1) continue;
        if (g_ring.rxNotifyPending != 0 || serial_link().g_comm.threadRunning == 0) continue;
        g_ring.rxNotifyPending = 1;
        /* A wake-up that could not be posted would leave the flag set for good and stop
         * reception: clear it and try again shortly. */
        if (!platform_post_serial_rx()) {
            g_ring.rxNotifyPending = 0;
            clock_sleep_ms(RX_POST_RETRY_MS);
        }
    }
}

int SerialHandle() {
    const port_handle_t h = serial_link().g_io_handle;
    uint32_t queued = 0;
    int error = 0;
    if (port_queued(h, &queued, &error) != 0) {
        dbg_log("[Error] SerialHandle: ClearCommError失败, 错误码=%d (%s)\n", error, query_error_text(error));
        return finish(-4);
    }
    if (serial_link().g_comm.threadRunning == 0) return 1; /* the flag stays set until the ring is reset */
    if (queued == 0) return finish(0);
    if (queued > sizeof g_ring.rxChunk) queued = sizeof g_ring.rxChunk; /* the rest wakes us again */

    g_bytes_read = 0;
    const PortIoResult r = port_read(h, g_ring.rxChunk, queued);
    switch (r.status) {
    case PortIoStatus::Done:
        g_bytes_read = r.count;
        break;
    case PortIoStatus::WaitTimedOut:
    case PortIoStatus::WaitFailed:
    case PortIoStatus::WaitSetupFailed:
        /* NOTE: nothing to cancel here: a read that found no bytes is not left outstanding. */
        dbg_log("[Error] SerialHandle: 等待读取完成失败, 结果=%d (%s)\n", r.wait_result,
                r.status == PortIoStatus::WaitTimedOut ? "等待超时" : "等待函数失败");
        return finish(-2);
    case PortIoStatus::ResultFailed:
        dbg_log("[Error] SerialHandle: GetOverlappedResult失败, 错误码=%d (%s)\n", r.error,
                read_result_error_text(r.error));
        return finish(-1);
    case PortIoStatus::Refused:
        dbg_log("[Error] SerialHandle: ReadFile error=%d\n", r.error);
        return finish(-3);
    }
    if (g_bytes_read == 0) {
        dbg_log("[Warning] SerialHandle: ReadFile returned 0 bytes\n");
        return finish(1);
    }

    if (rx_ring_append(g_ring.rxChunk, g_bytes_read) == 0) return finish(-5);
    return finish(0);
}

uint32_t rx_ring_append(const uint8_t* bytes, uint32_t count) {
    /* Free space in 16 bits, as the ring's indices are; one slot always stays free. */
    const uint16_t free_space = static_cast<uint16_t>(g_ring.rxWriteIndex < g_ring.rxReadIndex
                                                          ? g_ring.rxReadIndex - g_ring.rxWriteIndex - 1
                                                          : g_ring.rxReadIndex - g_ring.rxWriteIndex + RX_RING_SIZE - 1);
    uint32_t n = count;
    if (n > free_space) {
        dbg_log("[Warning] SerialHandle: 缓冲区空间不足, 请求:%u, 可用:%d\n", count, free_space);
        n = free_space;
    }
    if (n == 0) {
        if (count != 0) dbg_log("[Warning] SerialHandle: 缓冲区已满, 丢弃%u字节\n", count);
        return 0;
    }
    for (uint32_t i = 0; i < n; ++i) {
        g_ring.rxRing[g_ring.rxWriteIndex] = bytes[i];
        g_ring.rxWriteIndex = ring_next(g_ring.rxWriteIndex);
    }
    return n;
}

uint32_t rx_ring_drain(void (*consume)(uint8_t)) {
    uint32_t n = 0;
    while (g_ring.rxReadIndex != g_ring.rxWriteIndex) {
        const uint8_t byte = g_ring.rxRing[g_ring.rxReadIndex];
        g_ring.rxReadIndex = ring_next(g_ring.rxReadIndex);
        ++n;
        if (consume != nullptr) consume(byte);
    }
    return n;
}

void rx_ring_reset() {
    g_ring.rxReadIndex = 0;
    g_ring.rxWriteIndex = 0;
    g_ring.rxNotifyPending = 0;
    memset(g_ring.rxRing, 0, sizeof g_ring.rxRing);
}

uint32_t rx_take_received(void (*consume)(uint8_t)) {
    if (port_handle_valid(serial_link().g_io_handle)) SerialHandle();
    return rx_ring_drain(consume);
}
