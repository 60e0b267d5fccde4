#include "common/text_format.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

/* Length of the valid UTF-8 sequence at p (1..4), or 0 when it is not one; p is terminated, and
 * the terminator ends any sequence. */
size_t utf8_sequence(const unsigned char* p) {
    uint32_t cp;
    return text_utf8_decode(p, strnlen(reinterpret_cast<const char*>(p), 4), &cp);
}

/* Drops an incomplete character at the end of buf. */
size_t trim_partial(char* buf, size_t len) {
    size_t start = len;
    while (start > 0 && (static_cast<unsigned char>(buf[start - 1]) & 0xC0) == 0x80 && len - start < 3)
        --start;
    if (start > 0 && static_cast<unsigned char>(buf[start - 1]) >= 0xC0) {
        --start;
        if (utf8_sequence(reinterpret_cast<const unsigned char*>(buf + start)) != len - start) len = start;
    }
    buf[len] = '\0';
    return len;
}

} // namespace

size_t text_utf8_lead_length(unsigned char lead) {
    if (lead < 0x80) return 1;
    if ((lead & 0xE0) == 0xC0) return 2;
    if ((lead & 0xF0) == 0xE0) return 3;
    if ((lead & 0xF8) == 0xF0) return 4;
    return 0;
}

size_t text_utf8_decode(const unsigned char* p, size_t n, uint32_t* cp) {
    if (p == nullptr || n == 0) return 0;
    const size_t len = text_utf8_lead_length(p[0]);
    if (len == 0 || len > n) return 0;
    static const uint32_t LEAD_BITS[5] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    static const uint32_t MIN_VALUE[5] = {0, 0, 0x80, 0x800, 0x10000}; /* shorter forms are overlong */
    uint32_t v = p[0] & LEAD_BITS[len];
    for (size_t i = 1; i < len; ++i) {
        if ((p[i] & 0xC0) != 0x80) return 0;
        v = (v << 6) | (p[i] & 0x3F);
    }
    if (v < MIN_VALUE[len] || v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return 0;
    if (cp != nullptr) *cp = v;
    return len;
}

size_t text_format(char* buf, size_t cap, const char* fmt, ...) {
    if (buf == nullptr || cap == 0) return 0;
    va_list args;
    va_start(args, fmt);
    const int n = vsnprintf(buf, cap, fmt, args);
    va_end(args);
    if (n < 0) {
        buf[0] = '\0';
        return 0;
    }
    if (static_cast<size_t>(n) < cap) return static_cast<size_t>(n);
    return trim_partial(buf, cap - 1);
}

size_t text_sanitize_utf8(char* buf, size_t cap, const char* text) {
    if (buf == nullptr || cap == 0) return 0;
    static const char REPLACEMENT[] = "\xEF\xBF\xBD";
    size_t len = 0;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text != nullptr ? text : "");
    while (*p != 0) {
        size_t n = utf8_sequence(p);
        const char* piece = reinterpret_cast<const char*>(p);
        size_t piece_len = n;
        if (n == 0) {
            piece = REPLACEMENT;
            piece_len = 3;
            n = 1;
        }
        if (len + piece_len >= cap) break;
        memcpy(buf + len, piece, piece_len);
        len += piece_len;
        p += n;
    }
    buf[len] = '\0';
    return len;
}

size_t text_hex_dump(char* buf, size_t cap, const char* head, const uint8_t* bytes, size_t n) {
    static const char DIGITS[] = "0123456789ABCDEF";
    if (buf == nullptr || cap == 0) return 0;
    size_t len = text_format(buf, cap, "%s", head != nullptr ? head : "");
    for (size_t i = 0; bytes != nullptr && i < n && len + 4 <= cap; ++i) { /* "XX " and the terminator fit */
        buf[len++] = DIGITS[bytes[i] >> 4];
        buf[len++] = DIGITS[bytes[i] & 0x0F];
        buf[len++] = ' ';
    }
    buf[len] = '\0';
    return len;
}
