/**
 * Frames exchanged with the servo, and their checksums. All multi-byte numbers on the wire are
 * big-endian. Every frame is sent with one SerialWrite of the whole frame.
 *
 * Block family: a fixed tag first (0x8E information, 0x26 parameter block, 0x8F version report),
 * protected by the block checksum (sum of every byte before it, minus 1); the version report
 * alone carries the plain sum.
 * Register family: fixed-size frames starting with 0xAF, one register code and two 16-bit data
 * words, protected by the register checksum (plain sum from the length field on).
 *
 * Builders return the frame length, or -1 when an argument is null, out of range, or the output
 * room is too small (a debug line says which).
 */
#pragma once

#include "params/register_family.h" /* RegisterValue */

#include <cstddef>
#include <cstdint>

/* Information: request 8E 00 00 8E, frame of 30 bytes (tag, type 20, year 4, month 2, day 2,
 * block checksum). */
constexpr uint8_t FRAME_INFO_TAG = 0x8E;
constexpr size_t FRAME_INFO_REQUEST_LEN = 4;
constexpr size_t FRAME_INFO_LEN = 30;
constexpr size_t FRAME_INFO_TYPE_OFFSET = 1;
constexpr size_t FRAME_INFO_TYPE_LEN = 20;
constexpr size_t FRAME_INFO_YEAR_OFFSET = 21;
constexpr size_t FRAME_INFO_YEAR_LEN = 4;
constexpr size_t FRAME_INFO_MONTH_OFFSET = 25;
constexpr size_t FRAME_INFO_DAY_OFFSET = 27;
constexpr size_t FRAME_INFO_MONTH_DAY_LEN = 2;
constexpr uint8_t FRAME_INFO_TYPE_REFUSED = 0x80; /* a reply whose byte 1 is this or above is refused */

/* Parameter block: request 81 00 00 81 (also sent ahead of every block write), frame of 38. */
constexpr uint8_t FRAME_PARAM_READ_TAG = 0x81;
constexpr size_t FRAME_PARAM_READ_LEN = 4;
constexpr uint8_t FRAME_PARAM_BLOCK_TAG = 0x26; /* also the frame's total length */
constexpr uint8_t FRAME_PARAM_WRITE_CMD = 0x40; /* "@": the PC writes the block */
constexpr size_t FRAME_PARAM_BLOCK_LEN = 38;    /* tag, command, 35 data bytes, checksum */
constexpr size_t FRAME_PARAM_BLOCK_DATA = 35;

/* Parameter write acknowledgement: four consecutive 0x80. */
constexpr uint8_t FRAME_ACK_BYTE = 0x80;
constexpr int FRAME_ACK_COUNT = 4;

/* Version report (servo to PC only): tag, version 2, parameter checksum 2, program checksum 4,
 * program CRC 4, plain-sum checksum. */
constexpr uint8_t FRAME_VERSION_TAG = 0x8F;
constexpr size_t FRAME_VERSION_LEN = 14;

/* Register family: request AF FA 00 0A code DATA0 DATA1 checksum; reply AF xx 00 09 DATA0 DATA1
 * checksum (byte 1 unchecked). */
constexpr uint8_t FRAME_REGISTER_TAG = 0xAF;
constexpr uint8_t FRAME_REGISTER_REQUEST_MARK = 0xFA;
constexpr size_t FRAME_REGISTER_REQUEST_LEN = 10;
constexpr size_t FRAME_REGISTER_REPLY_LEN = 9;
constexpr int FRAME_REGISTER_READ_STEPS = 8;
constexpr int FRAME_REGISTER_WRITE_FRAMES = 12;

/* Register codes of the eight read steps, in sending order. Which values each reply carries is
 * in the register family's table (params/register_family.h). */
extern const uint8_t frames_register_read_codes[FRAME_REGISTER_READ_STEPS];

/* One register write frame: the code and the value each data word carries (scaled by
 * the value's wire factor). The last one, 0x46 with no values, closes every write sequence. */
struct RegisterWriteFrame {
    uint8_t code;
    int8_t data0; /* RegisterValue or REG_VALUE_NONE */
    int8_t data1;
};
extern const RegisterWriteFrame frames_register_write_table[FRAME_REGISTER_WRITE_FRAMES];

/* ---- checksums (modulo 256) ---- */

/* Block checksum over n bytes: their sum minus 1. */
uint8_t frames_block_checksum(const uint8_t* bytes, size_t n);

/* Version checksum over n bytes: their plain sum. */
uint8_t frames_version_checksum(const uint8_t* bytes, size_t n);

/* Register checksum of a frame whose checksum sits at index len_before_checksum: the plain sum of
 * bytes 2 .. len_before_checksum - 1; 0 when len_before_checksum is below 3 or frame is null. */
uint8_t frames_register_checksum(const uint8_t* frame, size_t len_before_checksum);

/* ---- builders ---- */

/* Information read request 8E 00 00 8E. Returns 4. */
int frames_build_info_request(uint8_t* out, size_t cap);

/* Parameter read request 81 00 00 81. Returns 4. */
int frames_build_param_read_request(uint8_t* out, size_t cap);

/* Register read request of step 0..7 (its code, zero data). Returns 10; -1 for another step. */
int frames_build_register_read(int step, uint8_t* out, size_t cap);

/* Register request with a code and two data words. Returns 10. */
int frames_build_register_frame(uint8_t code, uint16_t data0, uint16_t data1, uint8_t* out, size_t cap);

/* Information frame from four texts: the type's first 20 bytes padded with spaces, the first four
 * bytes of the year and the first two of month and day (each padded with spaces when shorter),
 * block checksum. Returns 30. */
int frames_build_info_frame(const char* type, const char* year, const char* month, const char* day, uint8_t* out,
                            size_t cap);

/* Builds the parameter block frame (0x26, 0x40, the 35 block bytes, block checksum) into frame
 * and logs it as a hex dump. Returns the frame length 38, or -1 when an argument is null or cap
 * is below 38. */
int buildWriteFrame(const uint8_t* block, uint8_t* frame, size_t cap);
