/**
 * The protocol's state, shared by the receive parser and the request side (information and
 * parameter transactions) of this folder; nothing outside the protocol reaches it. The names of
 * the buffers are the ones the program has always used.
 */
#pragma once

#include "protocol/parser.h"

#include <cstddef>
#include <cstdint>

/* Which parameter write is under way. */
enum BlockWritePending : int32_t {
    WRITE_PENDING_NONE = 0,
    WRITE_PENDING_BLOCK = 1,    /* a block frame awaits its four 0x80 */
    WRITE_PENDING_REGISTER = 2, /* the register write sequence runs */
};

constexpr size_t INFO_RX_BUF_SIZE = FRAME_INFO_REQUEST_LEN + FRAME_INFO_LEN; /* echo of the request + frame */
/* The information frame last sent and the zero bytes after it: an information write's echo is
 * matched one byte beyond the frame, so a 0x00 right after the echo is taken for echo too. */
constexpr size_t INFO_TX_AREA_SIZE = FRAME_INFO_LEN + 2;
constexpr int INFO_ECHO_EXTRA = 1;
constexpr int REG_ECHO_ENTRIES = FRAME_REGISTER_READ_STEPS;
constexpr int READ_CACHE_ENTRIES = FRAME_REGISTER_READ_STEPS;
constexpr int READ_CACHE_BYTES = 4;
constexpr size_t REG_FRAME_BUF_SIZE = 20;
/* The block data index is 8 bits and can run past the expected count when a command resets the
 * count mid-frame, so the buffer takes every index it can reach. */
constexpr size_t BLOCK_DATA_BUF_SIZE = 256;

struct ProtocolState {
    int32_t mode = MODE_IDLE;

    /* Bytes of an information reply, echo of the request included. */
    uint8_t g_servo_info_rx_buf[INFO_RX_BUF_SIZE] = {};
    /* The information frame last written (the echo reference of an information write), cleared
     * when the write ends. */
    uint8_t g_servo_info_tx_buf[INFO_TX_AREA_SIZE] = {};
    /* The four data bytes of each register reply of a read, in arrival order (the write sequence
     * reuses them for values the user left unchanged). */
    uint8_t ReadCacheBuff[READ_CACHE_ENTRIES][READ_CACHE_BYTES] = {};

    /* Echo of a block-family frame: the reference, the bytes to match, the bytes matched. */
    const uint8_t* echo_ref = nullptr;
    int32_t echo_len = 0;
    int32_t echo_index = 0;

    /* Echo of the register read requests of the current read, in sending order. */
    uint8_t reg_echo[REG_ECHO_ENTRIES][FRAME_REGISTER_REQUEST_LEN] = {};
    int32_t reg_echo_count = 0;
    int32_t reg_echo_entry = 0;
    int32_t reg_echo_pos = 0;

    /* Information read: bytes stored, 0 waiting for the 0x8E / 1 collecting, and whether the
     * first four bytes were the echo of the request. */
    int32_t info_rx_count = 0;
    int32_t info_rx_state = 0;
    uint8_t self_receive = 0;

    /* Read-parameters machine: 0 idle, 1-3 block frame, 4-6 register reply. */
    uint8_t param_state = 0;
    uint8_t reg_frame[REG_FRAME_BUF_SIZE] = {};
    int32_t reg_frame_pos = 0;
    int32_t reg_frame_len = 0;
    uint8_t reg_checksum = 0;
    int32_t block_count = 0; /* data bytes expected; the count of 0x80 bytes while writing */
    uint8_t block_index = 0;
    uint8_t block_checksum = 0;
    uint8_t block_data[BLOCK_DATA_BUF_SIZE] = {};
    int32_t read_step = 0; /* register reply expected next, 0..7; survives a failed read */
    uint16_t read_cache_count = 0;
    uint8_t last_read[REG_VALUE_COUNT] = {}; /* panel values after the latest register reply, 8 bits */
    int32_t block_write_pending = WRITE_PENDING_NONE;

    /* Version report. */
    uint8_t version_buf[FRAME_VERSION_LEN] = {};
    int32_t version_count = 0;
    uint8_t version_state = 0;

    /* Request side. */
    uint8_t first_read = 0;                                    /* set by every read command */
    uint8_t first_read_block[1 + FRAME_PARAM_BLOCK_DATA] = {}; /* 0x40 and the block as first read */
    uint8_t block_frame[FRAME_PARAM_BLOCK_LEN] = {};           /* block frame last sent */
    int32_t block_frame_len = 0;                               /* its length: the echo of a block write */
    int32_t info_echo_base = 0;                                /* 30 once an information frame was sent */
    uint32_t start_ms = 0;                                     /* low 32 bits, after the request went out */
    int32_t reg_read_counter = 0;                              /* register read requests sent, 0..8 */
    uint8_t reg_write_counter = 0;                             /* register write frames sent, 0..12 */
    protocol_timer_t read_timer = nullptr;                     /* the running register read timer */
    protocol_timer_t write_timer = nullptr;                    /* the running register write timer */
};

/* The one protocol state. */
ProtocolState& protocol_state();
