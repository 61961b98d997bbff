// A C++ host on the installed headers: a table in memory and a decoded error.
#include <iostream>

#include "tolvik32.hpp"

int main(int argc, char** argv)
{
    tolvik32::Table table(1, 2);
    table.Set(0, 1, "Pump");
    const auto empty = table.Get(0, 0);
    const auto name = table.Get(0, 1);
    if (empty || name != "Pump") {
        std::cerr << "cells do not read back\n";
        return 1;
    }
    try {
        tolvik32::ReadModel(argc > 1 ? argv[1] : "NO-SUCH.MDL");
    } catch (const tolvik32::Error& error) {
        std::cout << error.what() << '\n';
        return error.Code() == tolvik32::ErrorCode::kMissing ? 0 : 1;
    }
    std::cerr << "a missing model file was read\n";
    return 1;
}
