/* Parameter text import: either file format into the panel, line by line, with a message per
 * bad line. */
#include "common/debug_log.h"
#include "common/file_open.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "common/text_format.h"
#include "params/file_dialog.h"
#include "params/panel_fields.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "params/register_family.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int CONFIGBUFFER_INDEX_MAX = 35;
constexpr int BYTE_VALUE_MAX = 255;

/* Kept from one import to the next within a run: a key missing from a file keeps the value of
 * an earlier import, and line numbers keep counting. */
struct ImportState {
    uint8_t bytes[PARAM_IMAGE_SIZE] = {}; /* by ConfigBuffer index */
    int32_t keys[REG_FILE_LINES] = {}; /* by file line */
    int32_t line_counter = 0;
    int32_t good_lines = 0;
};
ImportState g_import;

enum class Mode { Undecided, ConfigBuffer, Key };

/* The counters never reset; they wrap rather than overflow in a very long run. */
void count_up(int32_t& counter) {
    counter = static_cast<int32_t>(static_cast<uint32_t>(counter) + 1u);
}

/* Reads a file as text: a byte-order mark selects UTF-8 (skipped), UTF-16 LE or BE; without one
 * the bytes are UTF-8. Hands out lines of at most IMPORT_LINE_CHARS characters as UTF-8 (a
 * longer line comes in pieces), each with its "\n" when it fitted; "\r\n" reads as "\n". Bytes
 * that are not text read as U+FFFD, so any file can be read to its end. */
class LineReader {
  public:
    explicit LineReader(FILE* f) : f_(f) { detect_encoding(); }

    bool next_line(std::string& out) {
        out.clear();
        int chars = 0;
        uint32_t cp;
        while (chars < IMPORT_LINE_CHARS && next_char(cp)) {
            append_utf8(out, cp);
            ++chars;
            if (cp == '\n') break;
        }
        return chars > 0;
    }

  private:
    enum class Encoding { Utf8, Utf16Le, Utf16Be };

    void detect_encoding() {
        unsigned char bom[3];
        const size_t n = fread(bom, 1, 3, f_);
        size_t used = 0;
        if (n >= 3 && bom[0] == 0xEF && bom[1] == 0xBB && bom[2] == 0xBF) {
            used = 3;
        } else if (n >= 2 && bom[0] == 0xFF && bom[1] == 0xFE) {
            enc_ = Encoding::Utf16Le;
            used = 2;
        } else if (n >= 2 && bom[0] == 0xFE && bom[1] == 0xFF) {
            enc_ = Encoding::Utf16Be;
            used = 2;
        }
        for (size_t i = used; i < n; ++i)
            pushed_[pushed_count_++] = bom[i];
    }

    int get_byte() {
        if (pushed_pos_ < pushed_count_) return pushed_[pushed_pos_++];
        return fgetc(f_);
    }

    /* One character of the file, before the "\r\n" rule. */
    bool raw_char(uint32_t& cp) {
        if (enc_ == Encoding::Utf8) return utf8_char(cp);
        int unit = utf16_unit();
        if (unit < 0) return false;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            const int low = utf16_unit();
            if (low >= 0xDC00 && low <= 0xDFFF) {
                cp = 0x10000 + ((static_cast<uint32_t>(unit) - 0xD800) << 10) + (static_cast<uint32_t>(low) - 0xDC00);
                return true;
            }
            if (low >= 0) held_unit_ = low;
            cp = 0xFFFD;
            return true;
        }
        cp = (unit >= 0xDC00 && unit <= 0xDFFF) ? 0xFFFD : static_cast<uint32_t>(unit);
        return true;
    }

    int utf16_unit() {
        if (held_unit_ >= 0) {
            const int u = held_unit_;
            held_unit_ = -1;
            return u;
        }
        const int a = get_byte();
        if (a == EOF) return -1;
        const int b = get_byte();
        if (b == EOF) return 0xFFFD; /* odd last byte */
        return enc_ == Encoding::Utf16Le ? (a | (b << 8)) : ((a << 8) | b);
    }

    /* One UTF-8 character; a broken one reads as U+FFFD, and the byte that broke it starts the
     * next character. */
    bool utf8_char(uint32_t& cp) {
        const int c = held_byte_ >= 0 ? held_byte_ : get_byte();
        held_byte_ = -1;
        if (c == EOF) return false;
        unsigned char bytes[4] = {static_cast<unsigned char>(c)};
        const size_t need = text_utf8_lead_length(bytes[0]);
        size_t have = 1;
        while (have < need) {
            const int d = get_byte();
            if (d == EOF) break;
            if ((d & 0xC0) != 0x80) {
                held_byte_ = d;
                break;
            }
            bytes[have++] = static_cast<unsigned char>(d);
        }
        if (text_utf8_decode(bytes, have, &cp) != have) cp = 0xFFFD;
        return true;
    }

    bool next_char(uint32_t& cp) {
        if (has_lookahead_) {
            has_lookahead_ = false;
            cp = lookahead_;
            return true;
        }
        if (!raw_char(cp)) return false;
        if (cp == '\r') {
            uint32_t after;
            if (raw_char(after)) {
                if (after == '\n') {
                    cp = '\n';
                } else {
                    lookahead_ = after;
                    has_lookahead_ = true;
                }
            }
        }
        return true;
    }

    static void append_utf8(std::string& out, uint32_t cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    FILE* f_;
    Encoding enc_ = Encoding::Utf8;
    unsigned char pushed_[3] = {};
    size_t pushed_count_ = 0;
    size_t pushed_pos_ = 0;
    int held_byte_ = -1;
    int held_unit_ = -1;
    uint32_t lookahead_ = 0;
    bool has_lookahead_ = false;
};

/* Matches text against a pattern the way scanf does for "%d" and literals: a blank in the
 * pattern matches any run of white space (also none), "%d" skips white space and reads a signed
 * decimal number, any other character must match exactly. Returns how many numbers were read. */
int scan_ints(const char* text, const char* pattern, int32_t* out, int max) {
    int count = 0;
    const char* s = text;
    for (const char* p = pattern; *p != '\0'; ++p) {
        if (params_is_blank(*p)) {
            while (params_is_blank(*s))
                ++s;
        } else if (p[0] == '%' && p[1] == 'd') {
            if (count >= max) break;
            const char* end;
            const int32_t v = params_parse_int(s, &end);
            if (end == s) break;
            out[count++] = v;
            s = end;
            ++p;
        } else {
            if (*s != *p) break;
            ++s;
        }
    }
    return count;
}

struct ImportRun {
    Mode mode = Mode::Undecided;
    int error_prompts = 0;
};

/* Shows "Import failed!" for a line with one reason; past the limit of one import, logs only. */
void report_line(ImportRun& run, int32_t line, const char* reason_en, const char* reason_zh, bool always = false) {
    char msg[PARAM_FILE_MESSAGE_SIZE];
    text_format(msg, sizeof msg, lang_text("Import failed! \nLine %d: %s", "导入失败! \n第 %d 行 %s"), line,
                lang_text(reason_en, reason_zh));
    if (always || run.error_prompts < IMPORT_MAX_ERROR_PROMPTS) {
        ++run.error_prompts;
        show_prompt(msg);
    } else {
        dbg_log("[Warning] import: line %d: %s (not shown: too many bad lines)\n", line, reason_en);
    }
}

constexpr const char* CONFIGBUFFER_PATTERN = "ConfigBuffer[%d] = %d;";

void handle_configbuffer_line(ImportRun& run, const char* line) {
    int32_t nums[2];
    params_set_source(PARAM_SOURCE_BLOCK);
    if (scan_ints(line, CONFIGBUFFER_PATTERN, nums, 2) < 2) {
        report_line(run, g_import.line_counter, "Format error", "格式错误");
    } else if (nums[0] < 0 || nums[0] > CONFIGBUFFER_INDEX_MAX) {
        report_line(run, g_import.line_counter, "Index out of range", "索引越界");
    } else if (nums[1] < 0 || nums[1] > BYTE_VALUE_MAX) {
        report_line(run, g_import.line_counter, "Value overflow", "数值溢出");
    } else {
        g_import.bytes[nums[0]] = static_cast<uint8_t>(nums[1]);
        count_up(g_import.good_lines);
    }
}

void handle_key_line(ImportRun& run, const char* line) {
    params_set_source(PARAM_SOURCE_REGISTER);
    for (int k = 0; k < REG_FILE_LINES; ++k) {
        const char* key = register_file_key(k);
        if (line[0] != key[0] || line[1] != key[1] || line[2] != ':') continue;
        int32_t v;
        if (scan_ints(line + 3, "%d", &v, 1) == 1)
            g_import.keys[k] = v;
        else
            report_line(run, g_import.line_counter, "Parse value failed", "数值解析失败");
        count_up(g_import.good_lines); /* a key line counts even when its number could not be read */
        return;
    }
    report_line(run, g_import.line_counter, "Unknown keyword", "未知关键字");
}

/* Handles one line; returns false when the import must stop (unknown format). */
bool handle_line(ImportRun& run, const std::string& piece) {
    count_up(g_import.line_counter);
    const char* line = piece.c_str(); /* a NUL in the file ends the line's text */
    while (params_is_blank(*line))
        ++line;
    if (*line == '\0' || *line == '#' || (line[0] == '/' && line[1] == '/')) return true;

    if (run.mode == Mode::Undecided) {
        int32_t nums[2];
        if (scan_ints(line, CONFIGBUFFER_PATTERN, nums, 2) == 2) {
            run.mode = Mode::ConfigBuffer;
        } else if (strstr(line, "KP:") != nullptr) {
            run.mode = Mode::Key;
        } else {
            report_line(run, 1, "Unknown content format", "未知内容格式"); /* always reported as line 1 */
            return false;
        }
    }
    if (run.mode == Mode::ConfigBuffer)
        handle_configbuffer_line(run, line);
    else
        handle_key_line(run, line);
    return true;
}

void apply_configbuffer() {
    params_take_block(g_import.bytes + 1, 36); /* index 0 is the command byte */
}

void apply_keys() {
    for (int line = 0; line < REG_FILE_LINES; ++line) {
        const int v = register_value_at_line(line);
        if (v == REG_VALUE_NONE) continue; /* LD */
        const int32_t k = g_import.keys[line];
        register_value_show(v, v == REG_RS ? (k == 1 ? 1 : 0) : k / register_family_values[v].scale);
    }
    panel_redraw();
}

} // namespace

bool params_path_has_txt_extension(const char* path) {
    if (path == nullptr) return false;
    const char* name = strrchr(path, '/');
    name = name != nullptr ? name + 1 : path;
    const char* dot = strrchr(name, '.');
    if (dot == nullptr || strlen(dot) != 4) return false;
    const char* want = ".txt";
    for (int i = 0; i < 4; ++i) {
        char c = dot[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != want[i]) return false;
    }
    return true;
}

int params_import_path(const char* path) {
    if (!params_path_has_txt_extension(path)) {
        show_prompt(lang_text("File type error! Please select a txt file.", "文件类型错误！请选择 txt 文件"));
        return PARAM_FILE_BAD_EXTENSION;
    }
    FILE* f = file_open_read_utf8(path); /* regular files only: a device or a pipe would never end */
    if (f == nullptr) {
        dbg_log("[Error] import: cannot open \"%s\"\n", path);
        show_prompt(lang_text("Could not open file!", "无法打开文件！"));
        return PARAM_FILE_OPEN_FAILED;
    }

    ImportRun run;
    LineReader reader(f);
    std::string piece;
    bool stopped = false;
    while (reader.next_line(piece)) {
        if (!handle_line(run, piece)) {
            stopped = true;
            break;
        }
    }
    fclose(f);
    if (stopped) return PARAM_FILE_UNKNOWN_FORMAT;

    if (g_import.good_lines == 0) {
        report_line(run, 0, "No valid data", "无有效数据", true);
        return PARAM_FILE_NO_DATA;
    }
    if (run.mode == Mode::ConfigBuffer) apply_configbuffer();
    if (run.mode == Mode::Key) apply_keys();
    show_prompt(lang_text("Successfully imported!", "导入成功!"));
    return PARAM_FILE_OK;
}

int params_import_run() {
    file_dialog_save_cwd();
    char path[FILE_DIALOG_PATH_CAP];
    if (!file_dialog_open_txt(path, sizeof path)) return PARAM_FILE_CANCELLED;
    const int result = params_import_path(path);
    if (result == PARAM_FILE_OK) file_dialog_restore_cwd();
    return result;
}

uint8_t params_import_byte(int index) {
    return index >= 0 && index < PARAM_IMAGE_SIZE ? g_import.bytes[index] : 0;
}

int32_t params_import_key(int key) {
    return key >= 0 && key < REG_FILE_LINES ? g_import.keys[key] : 0;
}

int32_t params_import_line_count() {
    return g_import.line_counter;
}

int32_t params_import_good_lines() {
    return g_import.good_lines;
}

void params_import_reset() {
    g_import = ImportState{};
}
