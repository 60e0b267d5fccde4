/* Files for tests: a temporary folder removed afterwards, whole-file reads and writes. */
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

struct TempDir {
    std::string path;
    TempDir() {
        std::error_code ec;
        const std::filesystem::path base = std::filesystem::temp_directory_path(ec);
        std::random_device random;
        for (int attempt = 0; attempt < 100 && path.empty() && !ec; ++attempt) {
            const std::filesystem::path p = base / ("servo_test_" + std::to_string(random()));
            if (std::filesystem::create_directory(p, ec)) path = p.string();
        }
        if (path.empty()) ADD_FAILURE() << "no temporary folder: " << ec.message();
    }
    ~TempDir() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string operator/(const std::string& name) const { return path + "/" + name; }
};

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline std::string write_file(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
    return path;
}
