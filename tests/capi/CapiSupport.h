// What the host-side tests share: a private temporary folder, whole-file
// reads, error records written with "|" for the separator, and a fixture that
// holds one table handle and reads and sets its cells. Only the standard
// library and tolvik32.h, so it builds for every target the library has.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tolvik32.h"

namespace tolvik::test {

namespace fs = std::filesystem;

inline std::string ReadBytes(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A folder of its own below the system's temporary folder, removed with
// everything in it at the end. With kCurrent it is also the current
// directory while it lives, so temporary output files are made there too.
class TempFolder {
public:
    enum Mode { kElsewhere, kCurrent };

    explicit TempFolder(Mode mode = kElsewhere)
    {
        std::random_device random;
        path_ = fs::temp_directory_path() /
                ("tolvik-test-" + std::to_string(random()) + std::to_string(random()));
        fs::create_directories(path_);
        if (mode == kCurrent) {
            previous_ = fs::current_path();
            fs::current_path(path_);
        }
    }
    ~TempFolder()
    {
        std::error_code ignored;
        if (!previous_.empty())
            fs::current_path(previous_, ignored);
        fs::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string Path(const std::string& name) const { return (path_ / name).string(); }
    // Writes `content` as the file `name`; gives its full path.
    std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(path_ / name, std::ios::binary) << content;
        return Path(name);
    }
    std::string Read(const std::string& name) const { return ReadBytes(path_ / name); }
    bool Exists(const std::string& name) const { return fs::exists(path_ / name); }
    // Names of the files in the folder, sorted.
    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(path_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    fs::path path_;
    fs::path previous_;
};

// An error record from its text with "|" for each separator byte:
// Record("4|" + file + "||||") is code "4" and the file name.
inline std::string Record(std::string visible)
{
    std::replace(visible.begin(), visible.end(), '|', '\x1a');
    return visible;
}

// The message boxes the library shows while this lives, taken instead of
// shown, each as "text|caption|style".
class ShownBoxes {
public:
    ShownBoxes()
    {
        List().clear();
        TolvikSetMessageHook(Take);
    }
    ~ShownBoxes() { TolvikSetMessageHook(nullptr); }
    ShownBoxes(const ShownBoxes&) = delete;
    ShownBoxes& operator=(const ShownBoxes&) = delete;

    static std::vector<std::string>& List()
    {
        static std::vector<std::string> boxes;
        return boxes;
    }

private:
    static void Take(const char* text, const char* caption, uint32_t style)
    {
        List().push_back(std::string(text) + "|" + caption + "|" + std::to_string(style));
    }
};

// One table handle, closed at the end if a test leaves it open, in a fixture
// with its own temporary folder.
class HostTable : public ::testing::Test {
protected:
    void TearDown() override
    {
        if (handle)
            IntpCloseRead(&handle);
    }

    int32_t NewTable(uint16_t rowCount, uint16_t columnCount)
    {
        return IntpOpenWrite(&handle, &rowCount, &columnCount);
    }
    // The result and the text of one cell.
    std::pair<int32_t, std::string> Lookup(uint16_t row, uint16_t col)
    {
        std::string value(70000, '\0');
        uint16_t length = 0;
        const int32_t result = IntpGetAttrValue(&handle, &row, &col, value.data(), &length);
        return {result, value.c_str()};
    }
    std::string Cell(uint16_t row, uint16_t col) { return Lookup(row, col).second; }
    int32_t Put(uint16_t row, uint16_t col, std::string value)
    {
        return IntpSetAttrValue(&handle, &row, &col, value.data());
    }
    // Sets a cell that must take the value.
    void Set(uint16_t row, uint16_t col, const std::string& value)
    {
        EXPECT_EQ(Put(row, col, value), -1) << "cell " << row << "," << col;
    }
    std::string Error() const { return err; }

    TempFolder folder;
    uint32_t handle = 0;
    // Not a count any table here has, so a test sees whether an export set them.
    uint16_t rows = 77;
    uint16_t cols = 77;
    char err[8192] = "";
};

}  // namespace tolvik::test
