/* UTF-8 <-> UTF-16 for the Windows platform files: the program's texts and paths are UTF-8, the
 * system's wide calls take UTF-16. */
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

/* The UTF-8 text as UTF-16; bytes that are not UTF-8 become U+FFFD, as the program shows them. */
inline std::wstring utf16_from_utf8(const char* text) {
    if (text == nullptr || text[0] == '\0') return std::wstring();
    const int n = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (n <= 0) return std::wstring();
    std::wstring out(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, &out[0], n);
    out.resize(static_cast<size_t>(n - 1)); /* the terminator */
    return out;
}

/* Writes the UTF-16 text as UTF-8 into out (cap bytes, terminator included). False, with out
 * empty, when it does not fit or cannot be converted. */
inline bool utf8_from_utf16(const wchar_t* text, char* out, size_t cap) {
    if (out == nullptr || cap == 0) return false;
    out[0] = '\0';
    if (text == nullptr) return false;
    const int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, out, cap > 0x7fffffff ? 0x7fffffff : static_cast<int>(cap),
                                      nullptr, nullptr);
    if (n <= 0) {
        out[0] = '\0';
        return false;
    }
    return true;
}
