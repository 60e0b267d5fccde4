#include "cli/cli_commands.h"

#include "cli/cli_output.h"
#include "cli/cli_servo.h"
#include "cli/cli_session.h"

#include <cstdio>

namespace {

/* A command's results, gathered while it runs and written once at its end. */
struct Report {
    JsonObject json;
    std::vector<std::string> lines; /* plain output */
};

Report start_report(const char* command) {
    Report r;
    r.json.str("command", command);
    return r;
}

std::vector<std::string> message_texts() {
    static const char* const TITLES[] = {"Prompt: ", "Prompt: ", "Error: ", ""};
    std::vector<std::string> texts;
    for (const Message& m : session_messages())
        texts.push_back(TITLES[static_cast<int>(m.kind)] + m.text);
    return texts;
}

/* Writes the window's messages to standard error and the results to standard output. */
int finish(const CliOptions& o, Report& r, const Outcome& outcome) {
    session_print_since(0);
    if (!outcome.text.empty()) fprintf(stderr, "servo_cli: %s\n", outcome.text.c_str());
    if (o.json) {
        const char* result = outcome.code == CLI_OK ? "ok" : outcome.code == CLI_MISMATCH ? "mismatch" : "error";
        r.json.str("result", result).num("exit", outcome.code);
        if (!outcome.text.empty()) r.json.str("error", outcome.text);
        r.json.strings("messages", message_texts());
        out_line(r.json.end());
    } else if (outcome.code == CLI_OK || outcome.code == CLI_MISMATCH) {
        for (const std::string& line : r.lines)
            out_line(line);
    }
    return outcome.code;
}

/* The port to use: --port, or the only USB adapter present. */
Outcome choose_port(const CliOptions& o, std::string* path) {
    if (!o.port.empty()) {
        *path = o.port;
        return {};
    }
    const std::vector<std::string> ports = servo_discover_ports();
    if (ports.empty()) return {CLI_NO_PORT, "No USB serial adapter found (plug one in, or give --port PATH)"};
    if (ports.size() > 1) {
        std::string names;
        for (const std::string& p : ports)
            names += (names.empty() ? "" : ", ") + p;
        return {CLI_USAGE, "Several USB serial adapters: " + names + "; choose one with --port PATH"};
    }
    *path = ports[0];
    return {};
}

/* Starts the session and opens the port; the report names it. */
Outcome open_port(const CliOptions& o, Report& r) {
    std::string path;
    const Outcome chosen = choose_port(o, &path);
    if (chosen.code != CLI_OK) return chosen;
    r.json.str("port", path);
    return servo_open(path.c_str());
}

std::string values_json(const std::vector<PanelValue>& values) {
    JsonObject v;
    for (const PanelValue& p : values)
        v.num(p.name, p.value);
    return v.end();
}

std::string diffs_json(const std::vector<FieldDiff>& diffs) {
    std::string list = "[";
    for (size_t i = 0; i < diffs.size(); ++i) {
        JsonObject d;
        d.str("field", diffs[i].field).num("expected", diffs[i].expected).num("read", diffs[i].read);
        list += (i > 0 ? "," : "") + d.end();
    }
    return list + "]";
}

/* A family differs by name; every other field by number. */
std::string diff_line(const FieldDiff& d) {
    if (d.field == "family")
        return "mismatch family: expected " + std::string(family_name(static_cast<Family>(d.expected))) + ", read " +
               family_name(static_cast<Family>(d.read));
    return "mismatch " + d.field + ": expected " + std::to_string(d.expected) + ", read " + std::to_string(d.read);
}

/* Reads the servo back and compares it with what it is meant to hold. */
Outcome verify(const CliOptions& o, Report& r, const ServoImage& expected) {
    ServoImage read;
    const Outcome got = servo_params_read(o.timeout_ms, &read);
    if (got.code != CLI_OK) return got;
    const std::vector<FieldDiff> diffs = servo_compare(expected, read);
    r.json.raw("mismatches", diffs_json(diffs));
    for (const FieldDiff& d : diffs)
        r.lines.push_back(diff_line(d));
    r.lines.push_back(diffs.empty() ? "verified: every field matches"
                                    : "verify failed: " + std::to_string(diffs.size()) + " field(s) differ");
    return {diffs.empty() ? CLI_OK : CLI_MISMATCH, ""};
}

} // namespace

int cmd_ports(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("ports");
    const std::vector<std::string> ports = servo_discover_ports();
    r.json.strings("ports", ports);
    r.lines = ports;
    return finish(o, r, {});
}

int cmd_info_read(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("info read");
    Outcome outcome = open_port(o, r);
    if (outcome.code == CLI_OK) {
        outcome = servo_info_read(o.timeout_ms);
        servo_close();
    }
    if (outcome.code == CLI_OK) {
        const std::string type = session_info_get(InfoField::Type);
        const std::string date = session_info_get(InfoField::Year) + "-" + session_info_get(InfoField::Month) + "-" +
                                 session_info_get(InfoField::Day);
        r.json.str("type", type).str("date", date);
        r.lines = {"type: " + type, "date: " + date};
    }
    return finish(o, r, outcome);
}

int cmd_info_write(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("info write");
    /* YYYY-MM-DD splits into the three date fields; what they hold is for the window's checks. */
    const size_t a = o.date.find('-');
    const size_t b = a == std::string::npos ? a : o.date.find('-', a + 1);
    if (b == std::string::npos || o.date.find('-', b + 1) != std::string::npos)
        return finish(o, r, {CLI_USAGE, "--date takes YYYY-MM-DD, not '" + o.date + "'"});
    Outcome outcome = open_port(o, r);
    if (outcome.code == CLI_OK) {
        const std::string year = o.date.substr(0, a), month = o.date.substr(a + 1, b - a - 1),
                          day = o.date.substr(b + 1);
        outcome = servo_info_write(o.type.c_str(), year.c_str(), month.c_str(), day.c_str(), o.timeout_ms);
        servo_close();
    }
    if (outcome.code == CLI_OK) {
        r.json.str("type", o.type).str("date", o.date);
        r.lines = {"written: type " + o.type + ", date " + o.date};
    }
    return finish(o, r, outcome);
}

int cmd_params_read(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("params read");
    Outcome outcome = open_port(o, r);
    if (outcome.code == CLI_OK) {
        outcome = servo_params_read(o.timeout_ms, nullptr);
        servo_close();
    }
    if (outcome.code == CLI_OK) {
        const std::vector<PanelValue> values = panel_values();
        r.json.str("family", family_name(params_family())).raw("values", values_json(values));
        r.lines.push_back(std::string("family: ") + family_name(params_family()));
        for (const PanelValue& p : values)
            r.lines.push_back(std::string(p.name) + ": " + std::to_string(p.value));
        if (!o.out.empty()) {
            outcome = params_file_save(o.out.c_str());
            if (outcome.code == CLI_OK) {
                r.json.str("file", o.out);
                r.lines.push_back("saved: " + o.out);
            }
        }
    }
    return finish(o, r, outcome);
}

namespace {

/* The start of the commands that take a parameter file to the servo: the file imported as the
 * window's import does, then the port opened. */
Outcome import_and_open(const CliOptions& o, Report& r) {
    r.json.str("file", o.args[0]);
    Outcome outcome = params_file_import(o.args[0].c_str());
    if (outcome.code == CLI_OK) outcome = open_port(o, r);
    return outcome;
}

} // namespace

int cmd_params_write(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("params write");
    Outcome outcome = import_and_open(o, r);
    if (outcome.code == CLI_OK) {
        ServoImage expected;
        outcome = servo_params_write(o.timeout_ms, &expected);
        if (outcome.code == CLI_OK) {
            r.json.str("family", family_name(expected.family)).flag("read_back", o.verify);
            r.lines.push_back(std::string("written: ") + family_name(expected.family) + " family");
            if (o.verify) outcome = verify(o, r, expected);
        }
        servo_close();
    }
    return finish(o, r, outcome);
}

int cmd_params_verify(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("params verify");
    Outcome outcome = import_and_open(o, r);
    if (outcome.code == CLI_OK) {
        ServoImage expected;
        servo_params_expected(&expected);
        r.json.str("family", family_name(expected.family));
        outcome = verify(o, r, expected);
        servo_close();
    }
    return finish(o, r, outcome);
}

int cmd_convert(const CliOptions& o) {
    session_start(o.verbose);
    Report r = start_report("convert");
    const std::string& in = o.args[0];
    const std::string& out = o.args[1];
    r.json.str("in", in).str("out", out);
    Family from = Family::None;
    std::vector<std::string> lost;
    const Outcome outcome = params_file_convert(in.c_str(), out.c_str(), &from, &lost);
    if (outcome.code == CLI_OK) {
        const char* to = family_name(from == Family::Block ? Family::Register : Family::Block);
        r.json.str("from", family_name(from)).str("to", to).strings("not_carried", lost);
        r.lines.push_back("converted: " + in + " (" + family_name(from) + ") -> " + out + " (" + to + ")");
        std::string names;
        for (const std::string& n : lost)
            names += (names.empty() ? "" : ", ") + n;
        r.lines.push_back("not carried: " + names);
        if (from == Family::Register)
            r.lines.push_back("settings the register family does not hold take the factory defaults");
    }
    return finish(o, r, outcome);
}
