/* Servo byte streams written from the wire tables (not with the tool's own frame code), a clock the
 * test sets, and a fixture base that puts every module of the core back to a fresh start. */
#pragma once

#include "common/clock.h"
#include "common/lang.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/protocol_state.h"
#include "serial/Serial.h"
#include "serial/rx_ring.h"
#include "tests/fakes/common/fake_platform.h"
#include "tests/fakes/core/fake_screen.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace servo_bytes {

using Bytes = std::vector<uint8_t>;

inline uint8_t sum8(const Bytes& b, size_t from, size_t to) {
    unsigned s = 0;
    for (size_t i = from; i < to; ++i)
        s += b[i];
    return static_cast<uint8_t>(s);
}

inline Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline const Bytes INFO_REQUEST = {0x8E, 0x00, 0x00, 0x8E};
inline const Bytes PARAM_REQUEST = {0x81, 0x00, 0x00, 0x81};
inline const uint8_t READ_CODES[8] = {0x38, 0x3D, 0x3F, 0x50, 0x51, 0x52, 0x53, 0x54};

/* PC -> servo register frame: AF FA 00 0A code DATA0 DATA1, plain sum from byte 2. */
inline Bytes reg_request(uint8_t code, uint16_t d0 = 0, uint16_t d1 = 0) {
    Bytes f = {0xAF, 0xFA, 0x00, 0x0A, code, uint8_t(d0 >> 8), uint8_t(d0), uint8_t(d1 >> 8), uint8_t(d1)};
    f.push_back(sum8(f, 2, 9));
    return f;
}

/* Servo -> PC register reply: AF 00 00 09 DATA0 DATA1, plain sum from byte 2. */
inline Bytes reg_reply(uint16_t d0, uint16_t d1) {
    Bytes f = {0xAF, 0x00, 0x00, 0x09, uint8_t(d0 >> 8), uint8_t(d0), uint8_t(d1 >> 8), uint8_t(d1)};
    f.push_back(sum8(f, 2, 8));
    return f;
}

/* Parameter block frame: 26 40, 35 data bytes, sum minus one. */
inline Bytes block_frame(const Bytes& data) {
    Bytes f = {0x26, 0x40};
    f.insert(f.end(), data.begin(), data.end());
    f.push_back(static_cast<uint8_t>(sum8(f, 0, f.size()) - 1));
    return f;
}

/* Information frame: 8E, type padded to 20 with spaces, date "YYYYMMDD", sum minus one. */
inline Bytes info_frame(const std::string& type, const std::string& date) {
    Bytes f = {0x8E};
    std::string t = type.substr(0, 20);
    t.resize(20, ' ');
    f.insert(f.end(), t.begin(), t.end());
    f.insert(f.end(), date.begin(), date.end());
    f.push_back(static_cast<uint8_t>(sum8(f, 0, f.size()) - 1));
    return f;
}

/* The factory block of the servo simulator (bytes 0..34). */
inline const Bytes DEFAULT_BLOCK = {0x41, 0x32, 0x07, 0xD0, 0x05, 0xDC, 0x03, 0xE8, 0x0D, 0xAC, 0x08, 0x00,
                                    0x02, 0x54, 0x03, 0x1D, 0x00, 0x00, 0xC8, 0x63, 0x05, 0xE4, 0x64, 0x0A,
                                    0x00, 0x50, 0x25, 0x31, 0x13, 0x0C, 0x00, 0x00, 0x1F, 0x48, 0x13};

/* Register values of the simulator as read, DATA0/DATA1 per read step. */
inline const uint16_t DEFAULT_REGS[8][2] = {{80, 3000},  {65, 50},  {8000, 0}, {4000, 8000},
                                            {596, 3500}, {2048, 0}, {3, 0},    {0x0101, 0}};

} // namespace servo_bytes

inline uint64_t g_test_now = 0;
inline uint64_t test_now() { return g_test_now; }

/* Fresh protocol, parameters, recordings, language, clock and port state for each case. */
class CoreFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        protocol_reset();
        params_reset();
        params_import_reset();
        fake_screen_reset();
        fake_platform_reset();
        lang_reset();
        clock_set_source(nullptr);
        serial_ports_reset();
        rx_ring_reset();
    }
    void TearDown() override {
        clock_set_source(nullptr);
        serial_ports_set_open(0);
        lang_reset();
    }
    static void feed(const servo_bytes::Bytes& bytes) {
        for (uint8_t b : bytes)
            process_servo_info_data(b);
    }
};
