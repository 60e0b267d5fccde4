#include "cli/cli_output.h"

#include "common/text_format.h"

#include <cstdio>

namespace {
void key_of(std::string& text, const char* key) {
    if (text.size() > 1) text += ',';
    text += json_quote(key);
    text += ':';
}
} // namespace

std::string json_quote(const std::string& value) {
    std::string clean(value.size() * 3 + 1, '\0'); /* each bad byte grows to three */
    clean.resize(text_sanitize_utf8(&clean[0], clean.size(), value.c_str()));
    std::string q = "\"";
    for (unsigned char c : clean) {
        if (c == '"' || c == '\\') {
            q += '\\';
            q += static_cast<char>(c);
        } else if (c < 0x20) {
            char esc[8];
            snprintf(esc, sizeof esc, "\\u%04x", c);
            q += esc;
        } else {
            q += static_cast<char>(c);
        }
    }
    return q + "\"";
}

JsonObject& JsonObject::str(const char* key, const std::string& value) {
    key_of(text, key);
    text += json_quote(value);
    return *this;
}

JsonObject& JsonObject::num(const char* key, int64_t value) {
    key_of(text, key);
    text += std::to_string(value);
    return *this;
}

JsonObject& JsonObject::flag(const char* key, bool value) {
    key_of(text, key);
    text += value ? "true" : "false";
    return *this;
}

JsonObject& JsonObject::strings(const char* key, const std::vector<std::string>& values) {
    std::string list = "[";
    for (size_t i = 0; i < values.size(); ++i)
        list += (i > 0 ? "," : "") + json_quote(values[i]);
    return raw(key, list + "]");
}

JsonObject& JsonObject::raw(const char* key, const std::string& json) {
    key_of(text, key);
    text += json;
    return *this;
}

std::string JsonObject::end() const {
    return text + "}";
}

void out_line(const std::string& line) {
    fputs(line.c_str(), stdout);
    fputc('\n', stdout);
    fflush(stdout);
}
