/**
 * The simulated servo: its memory (information frame, 35-byte parameter block, register values),
 * the intake of the PC's bytes into frames, the answers a servo gives, and the injected faults.
 * No I/O here besides the log: the link side (servo_sim.cpp) hands in received bytes with the
 * time they arrived and writes out what comes back when it falls due.
 *
 * Frames are parsed and built from the wire tables here on purpose, without the tool's own
 * frame code, so that a mistake shared by both sides cannot hide.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace servo_sim {

enum class Family { Block, Register };

enum FaultKind {
    FAULT_CHECKSUM,
    FAULT_SILENT,
    FAULT_LATE,
    FAULT_GARBAGE,
    FAULT_INFO_0X80,
    FAULT_VALUE, /* a parameter answer carries one value one too high, its checksum right */
    FAULT_KIND_COUNT
};

/* How many further answers a fault applies to. */
constexpr int FAULT_OFF = 0;
constexpr int FAULT_ALWAYS = -1;

struct SimOptions {
    Family family = Family::Block;
    bool echo = true; /* write every received byte straight back, as a one-wire adapter does */
    int faults[FAULT_KIND_COUNT] = {FAULT_OFF, FAULT_OFF, FAULT_OFF, FAULT_OFF, FAULT_OFF, FAULT_OFF};
    uint32_t late_ms = 300;  /* delay of an answer under the "late" fault */
    uint8_t info_ack = 0x01; /* the one byte that answers an information write */
};

/* Bytes to put on the wire once the clock reaches due_ms. Echo is not logged as TX. */
struct Outgoing {
    uint64_t due_ms = 0;
    std::vector<uint8_t> bytes;
    bool is_echo = false;
    std::string note; /* fault remarks for the TX log line */
};

/* Register read codes in the order the tool asks for them; the register memory is kept per code. */
constexpr int REG_READ_COUNT = 8;
extern const uint8_t kRegisterReadCodes[REG_READ_COUNT];

/* A gap this long inside a frame drops the partial frame, so a lost byte cannot swallow the next request. */
constexpr uint64_t FRAME_GAP_MS = 50;

struct ServoModel {
    SimOptions opt;
    FILE* log = nullptr;

    std::array<uint8_t, 30> info{};
    std::array<uint8_t, 35> block{};
    uint8_t regs[REG_READ_COUNT][4] = {};

    std::vector<uint8_t> partial; /* the frame being received */
    std::vector<uint8_t> stray;   /* bytes that started no frame, logged together */
    uint64_t last_rx_ms = 0;
};

/* Puts the servo into its start state (defaults below) with the given options and log (may be null). */
void model_init(ServoModel& m, const SimOptions& opt, FILE* log);

/* Takes bytes received at now_ms; appends the echo and any answers to `out` in wire order. */
void model_receive(ServoModel& m, const uint8_t* data, size_t len, uint64_t now_ms, std::vector<Outgoing>& out);

/* Drops a partial frame that has waited FRAME_GAP_MS without a byte; call when the line is quiet. */
void model_expire(ServoModel& m, uint64_t now_ms);

/* Time at which the partial frame expires, or 0 when no frame is partly received. */
uint64_t model_partial_deadline(const ServoModel& m);

/* Parses "KIND" or "KIND:N" (N >= 1) into opt.faults; returns false on an unknown kind or bad count. */
bool fault_parse(const char* text, SimOptions& opt);

/* Name of a fault kind as given on the command line. */
const char* fault_name(int kind);

/* Appends one line to the log (if any) and flushes it, so a reader sees it at once. */
void sim_log(FILE* log, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

/* Bytes as "8E 00 00 8E". */
std::string hex_bytes(const uint8_t* data, size_t len);

} // namespace servo_sim
