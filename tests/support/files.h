/* Files for tests: a temporary folder removed afterwards, whole-file reads and writes, and the
 * sample files under tests/data. */
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

struct TempDir {
    std::string path;
    TempDir() {
        char tmpl[] = "/tmp/servo_test_XXXXXX";
        if (mkdtemp(tmpl) != nullptr)
            path = tmpl;
        else
            ADD_FAILURE() << "mkdtemp failed";
    }
    ~TempDir() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
};

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

/* Writes content to path; returns the path. */
inline std::string write_file(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

#ifdef SERVO_TEST_DATA_DIR
/* A sample file under tests/data (the build names the folder: __FILE__ may be relative). */
inline std::string data_file(const char* name) {
    return std::string(SERVO_TEST_DATA_DIR) + "/" + name;
}
#endif
