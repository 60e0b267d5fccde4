/* servo_cli production: waits for adapters as the window does, runs one cycle per servo, logs
 * each to a CSV file and ends with a summary on Ctrl+C. */
#include "cli/cli_production.h"

#include "cli/cli_commands.h"
#include "cli/cli_output.h"
#include "cli/cli_platform.h"
#include "cli/cli_session.h"
#include "common/clock.h"
#include "common/screen_port.h"

#include <cstdio>

namespace {

constexpr uint32_t LOOP_TICK_MS = 5; /* the window's hot-plug check runs every 5 ms */
const char* const CSV_HEADER = "time,port,family,type,date,result,differing,duration_ms\n";

struct Totals {
    int count = 0;
    int passed = 0;
    uint64_t total_ms = 0;
};

/* A failure's reason in place of the differing fields. */
CycleResult fail(CycleResult r, const char* step, const Outcome& outcome, uint64_t t0) {
    r.differing = {std::string(step) + ": " + (outcome.text.empty() ? "refused" : outcome.text)};
    r.duration_ms = static_cast<uint32_t>(clock_ms() - t0);
    return r;
}

std::string csv_field(const std::string& text) {
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string q = "\"";
    for (char c : text)
        q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
}

std::string joined(const std::vector<std::string>& names, const char* sep) {
    std::string s;
    for (const std::string& n : names)
        s += (s.empty() ? "" : sep) + n;
    return s;
}

/* Appends one row with one write, the header first when the file is new or empty. */
bool append_csv(const std::string& path, const std::string& row) {
    FILE* f = fopen(path.c_str(), "a");
    if (f == nullptr) return false;
    const bool fresh = fseek(f, 0, SEEK_END) == 0 && ftell(f) == 0;
    const std::string text = (fresh ? CSV_HEADER : "") + row;
    const bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
    return fclose(f) == 0 && ok;
}

void report_cycle(const CliOptions& o, const std::string& port, const CycleResult& c) {
    char now[32];
    cli_local_time(now, sizeof now);
    const char* result = c.pass ? "PASS" : "FAIL";
    if (o.json) {
        JsonObject j;
        j.str("time", now).str("port", port).str("family", family_name(c.family)).str("type", c.type);
        j.str("date", c.date).str("result", result).strings("differing", c.differing).num("duration_ms", c.duration_ms);
        out_line(j.end());
    } else {
        out_line(std::string(result) + " " + port + " " + family_name(c.family) + " " +
                 (c.type.empty() ? "-" : c.type) + " " + (c.date.empty() ? "-" : c.date) + " " +
                 std::to_string(c.duration_ms) + " ms" + (c.differing.empty() ? "" : " " + joined(c.differing, " ")));
    }
    if (o.log.empty()) return;
    const std::string row = csv_field(now) + "," + csv_field(port) + "," + family_name(c.family) + "," +
                            csv_field(c.type) + "," + csv_field(c.date) + "," + result + "," +
                            csv_field(joined(c.differing, " ")) + "," + std::to_string(c.duration_ms) + "\n";
    if (!append_csv(o.log, row)) fprintf(stderr, "servo_cli: cannot append to %s\n", o.log.c_str());
}

/* Runs the hot-plug monitor until `open` is what it reports, or Ctrl+C. */
void wait_port(bool open) {
    while (servo_port_open() != open && !cli_interrupted()) {
        session_pump(LOOP_TICK_MS);
        servo_hot_plug_check();
    }
}

} // namespace

CycleResult production_cycle(const char* reference, uint32_t timeout_ms) {
    const uint64_t t0 = clock_ms();
    CycleResult r;
    servo_fresh_start();
    const Outcome imported = params_file_import(reference);
    r.family = params_family();
    if (imported.code != CLI_OK) return fail(r, "reference", imported, t0);
    if (r.family == Family::Block) {
        const Outcome info = servo_info_read(timeout_ms);
        if (info.code != CLI_OK) return fail(r, "information", info, t0);
        r.type = session_info_get(InfoField::Type);
        r.date = session_info_get(InfoField::Year) + "-" + session_info_get(InfoField::Month) + "-" +
                 session_info_get(InfoField::Day);
    }
    ServoImage expected, read;
    const Outcome written = servo_params_write(timeout_ms, &expected);
    if (written.code != CLI_OK) return fail(r, "write", written, t0);
    const Outcome got = servo_params_read(timeout_ms, &read);
    if (got.code != CLI_OK) return fail(r, "read", got, t0);
    r.family = read.family;
    for (const FieldDiff& d : servo_compare(expected, read))
        r.differing.push_back(d.field);
    r.pass = r.differing.empty();
    r.duration_ms = static_cast<uint32_t>(clock_ms() - t0);
    return r;
}

int cmd_production(const CliOptions& o) {
    session_start(o.verbose);
    if (!o.port.empty()) {
        fprintf(stderr, "servo_cli: production finds the adapters by itself; leave out --port\n");
        return CLI_USAGE;
    }
    size_t mark = session_mark();
    if (params_file_import(o.reference.c_str()).code != CLI_OK) {
        session_print_since(mark);
        fprintf(stderr, "servo_cli: the reference %s cannot be used\n", o.reference.c_str());
        return CLI_BAD_FILE;
    }
    cli_interrupt_install();
    fprintf(stderr, "servo_cli: waiting for adapters (%s family reference); Ctrl+C ends\n",
            family_name(params_family()));
    Totals totals;
    while (!cli_interrupted()) {
        wait_port(true);
        if (cli_interrupted()) break;
        const std::string port = servo_port_name();
        session_forget_messages();
        mark = session_mark();
        const CycleResult c = production_cycle(o.reference.c_str(), o.timeout_ms);
        if (!c.pass) session_print_since(mark); /* the window's messages tell why */
        report_cycle(o, port, c);
        ++totals.count;
        totals.passed += c.pass ? 1 : 0;
        totals.total_ms += c.duration_ms;
        wait_port(false);
        if (!servo_port_open()) fprintf(stderr, "servo_cli: %s pulled out\n", port.c_str());
    }
    if (servo_port_open()) servo_close();

    const int failed = totals.count - totals.passed;
    const uint64_t mean = totals.count > 0 ? totals.total_ms / static_cast<uint64_t>(totals.count) : 0;
    if (o.json) {
        JsonObject s;
        s.num("count", totals.count).num("passed", totals.passed).num("failed", failed).num("mean_ms", mean);
        out_line(JsonObject().raw("summary", s.end()).end());
    } else {
        out_line("servos: " + std::to_string(totals.count) + ", passed: " + std::to_string(totals.passed) +
                 ", failed: " + std::to_string(failed) + ", mean time per servo: " + std::to_string(mean) + " ms");
    }
    return failed > 0 ? CLI_MISMATCH : CLI_OK;
}
