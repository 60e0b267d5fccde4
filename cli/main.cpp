/* servo_cli: the servo configuration tool's command-line companion, for scripts, verification
 * and production runs. It runs the same core as the window (frames, parser, packing, text files,
 * serial link, discovery) with no window. */
#include "cli/cli_commands.h"
#include "cli/cli_servo.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const char EXIT_CODES[] = "Exit codes:\n"
                          "  0  success\n"
                          "  1  verify mismatch, or a production FAIL\n"
                          "  2  usage error (also a value the window's checks refuse)\n"
                          "  3  no adapter, or the port cannot be opened\n"
                          "  4  no valid answer within the time-out\n"
                          "  5  bad parameter file\n";

const char COMMON_OPTIONS[] = "Options:\n"
                              "  --port PATH   serial device (a pseudo-terminal too); default: the only USB adapter\n"
                              "  --timeout MS  wait at most MS for every answer (default 500)\n"
                              "  --json        one JSON object per result on standard output\n"
                              "  --verbose     diagnostic lines, frames as hex among them, on standard error\n"
                              "  --help        this text\n";

struct Command {
    const char* name;
    const char* usage;
    const char* what;
    int files; /* file arguments it takes */
    int (*run)(const CliOptions&);
};

const Command COMMANDS[] = {
    {"ports", "ports", "list the USB serial adapters as the window's port list shows them", 0, cmd_ports},
    {"info read", "info read", "read the servo's type text and version date", 0, cmd_info_read},
    {"info write", "info write --type TEXT --date YYYY-MM-DD",
     "write the type text (20 characters at most) and the date, checked as the window checks them", 0,
     cmd_info_write},
    {"params read", "params read [--out FILE]",
     "read the parameters (both servo families asked), print the family and the panel values;\n"
     "      --out saves them as the window's save would (the family's format)",
     0, cmd_params_read},
    {"params write", "params write FILE [--no-verify]",
     "import FILE (either format), write it the way its family takes it, read back and compare\n"
     "      field by field (--no-verify: no read-back)",
     1, cmd_params_write},
    {"params verify", "params verify FILE", "read the parameters and compare them with FILE", 1, cmd_params_verify},
    {"convert", "convert IN OUT", "convert a parameter file to the other format (tells what cannot be carried)", 2,
     cmd_convert},
    {"production", "production --reference FILE [--log results.csv]",
     "for every adapter plugged in: write FILE, read back, compare, print PASS or FAIL and append\n"
     "      a CSV row; Ctrl+C ends with a summary",
     0, cmd_production},
};

void print_help(FILE* f) {
    fputs("Usage: servo_cli COMMAND [OPTIONS]\n\nCommands:\n", f);
    for (const Command& c : COMMANDS)
        fprintf(f, "  %s\n      %s\n", c.usage, c.what);
    fputs("\n", f);
    fputs(COMMON_OPTIONS, f);
    fputs("\n", f);
    fputs(EXIT_CODES, f);
}

void print_command_help(const Command& c) {
    printf("Usage: servo_cli %s [OPTIONS]\n\n  %s\n\n%s\n%s", c.usage, c.what, COMMON_OPTIONS, EXIT_CODES);
}

int usage_error(const std::string& text) {
    fprintf(stderr, "servo_cli: %s (servo_cli --help lists the commands)\n", text.c_str());
    return CLI_USAGE;
}

bool parse_timeout(const char* text, uint32_t* ms) {
    char* end = nullptr;
    const long v = strtol(text, &end, 10);
    if (end == text || *end != '\0' || v < 1 || v > 600000) return false;
    *ms = static_cast<uint32_t>(v);
    return true;
}

/* Options taking a value, and where it goes. */
std::string* value_slot(CliOptions& o, const std::string& name) {
    if (name == "--port") return &o.port;
    if (name == "--out") return &o.out;
    if (name == "--type") return &o.type;
    if (name == "--date") return &o.date;
    if (name == "--reference") return &o.reference;
    if (name == "--log") return &o.log;
    return nullptr;
}

} // namespace

int main(int argc, char** argv) {
    CliOptions o;
    std::vector<std::string> words;
    bool help = false, type_given = false;
    std::string timeout_text;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a.rfind("--", 0) != 0 || a == "--") {
            words.push_back(a);
        } else if (a == "--help" || a == "-h") {
            help = true;
        } else if (a == "--json") {
            o.json = true;
        } else if (a == "--verbose") {
            o.verbose = true;
        } else if (a == "--no-verify") {
            o.verify = false;
        } else if (a == "--timeout" || value_slot(o, a) != nullptr) {
            if (i + 1 >= argc) return usage_error(a + " needs a value");
            if (a == "--timeout") {
                if (!parse_timeout(argv[++i], &o.timeout_ms))
                    return usage_error("--timeout takes milliseconds from 1 to 600000");
            } else {
                *value_slot(o, a) = argv[++i];
                type_given = type_given || a == "--type";
            }
        } else {
            return usage_error("unknown option " + a);
        }
    }

    const Command* command = nullptr;
    size_t used = 0;
    for (const Command& c : COMMANDS) {
        const std::string name = c.name;
        const size_t space = name.find(' ');
        const bool two = space != std::string::npos;
        if (two && words.size() >= 2 && words[0] + " " + words[1] == name) {
            command = &c;
            used = 2;
        } else if (!two && !words.empty() && words[0] == name) {
            command = &c;
            used = 1;
        }
    }
    if (command == nullptr) {
        if (help || words.empty()) {
            print_help(help ? stdout : stderr);
            return help ? CLI_OK : CLI_USAGE;
        }
        return usage_error("unknown command '" + words[0] + (words.size() > 1 ? " " + words[1] : "") + "'");
    }
    if (help) {
        print_command_help(*command);
        return CLI_OK;
    }
    o.args.assign(words.begin() + static_cast<long>(used), words.end());
    if (static_cast<int>(o.args.size()) != command->files)
        return usage_error(std::string(command->name) + " takes " + std::to_string(command->files) +
                           " file argument(s): servo_cli " + command->usage);
    if (command->run == cmd_info_write && (!type_given || o.date.empty()))
        return usage_error("info write needs --type TEXT and --date YYYY-MM-DD");
    if (command->run == cmd_production && o.reference.empty()) return usage_error("production needs --reference FILE");
    return command->run(o);
}
