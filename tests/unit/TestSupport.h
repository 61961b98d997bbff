// Test helpers: a private temporary directory that is the current directory
// while it lives (temporary output files are made there), and file access.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace tolvik::test {

class TempDir {
public:
    TempDir()
    {
        std::random_device random;
        path_ = std::filesystem::temp_directory_path() /
                ("tolvik-test-" + std::to_string(random()) + std::to_string(random()));
        std::filesystem::create_directories(path_);
        previous_ = std::filesystem::current_path();
        std::filesystem::current_path(path_);
    }
    ~TempDir()
    {
        std::filesystem::current_path(previous_);
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string Path(const std::string& name) const { return (path_ / name).string(); }

    std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream out(path_ / name, std::ios::binary);
        out << content;
        return Path(name);
    }

    std::string Read(const std::string& name) const
    {
        std::ifstream in(path_ / name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

    bool Exists(const std::string& name) const { return std::filesystem::exists(path_ / name); }

    // Names of the files in the directory, sorted.
    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::filesystem::path path_;
    std::filesystem::path previous_;
};

}  // namespace tolvik::test
