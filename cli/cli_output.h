/**
 * servo_cli's results on standard output: plain lines for people, or with --json one JSON
 * object per result for scripts (README.md lists the fields).
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/* One JSON object, written field by field in order. */
struct JsonObject {
    std::string text = "{";

    JsonObject& str(const char* key, const std::string& value);
    JsonObject& num(const char* key, int64_t value);
    JsonObject& flag(const char* key, bool value);
    JsonObject& strings(const char* key, const std::vector<std::string>& values);
    JsonObject& raw(const char* key, const std::string& json); /* a value already in JSON */
    std::string end() const;
};

/* value as a JSON string, quoted and escaped (bytes that are not valid UTF-8 become U+FFFD). */
std::string json_quote(const std::string& value);

/* Writes one line to standard output and flushes it, so a reader sees each result at once. */
void out_line(const std::string& line);
