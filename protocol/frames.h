/**
 * Frames exchanged with the servo, and their checksums. All multi-byte numbers on the wire are
 * big-endian. The block family's frames start with a fixed tag and end with the block checksum
 * (sum of every byte before it, minus 1).
 */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint8_t FRAME_PARAM_BLOCK_TAG = 0x26; /* also the frame's total length */
constexpr uint8_t FRAME_PARAM_WRITE_CMD = 0x40; /* "@": the PC writes the block */
constexpr size_t FRAME_PARAM_BLOCK_LEN = 38;    /* tag, command, 35 data bytes, checksum */
constexpr size_t FRAME_PARAM_BLOCK_DATA = 35;

/* Block checksum over n bytes: their sum minus 1, modulo 256. */
uint8_t frames_block_checksum(const uint8_t* bytes, size_t n);

/* Builds the parameter block frame (0x26, 0x40, the 35 block bytes, block checksum) into frame
 * and logs it as a hex dump. Returns the frame length 38, or -1 when an argument is null or cap
 * is below 38. */
int buildWriteFrame(const uint8_t* block, uint8_t* frame, size_t cap);
