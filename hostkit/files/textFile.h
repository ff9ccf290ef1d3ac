#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace nivra::hostkit {

/// The content of a file, up to a number of bytes.
/// @throws FileError naming the file and the system's reason.
std::string readFile(const std::filesystem::path& path, std::size_t most = std::string::npos);

/// The name of a file or folder, without the endings that tell a file's format; "stdin" for the standard input.
std::string nameOf(const std::filesystem::path& path);

/// Hands out every line that holds more than blanks, with its number from 1.
void forEachLine(std::string_view text, const std::function<void(int number, std::string_view line)>& take);

/// The first line that holds more than blanks; empty if there is none.
std::string_view firstLineOf(std::string_view text);

/// Stops with "<what> (<file>:<line>, <field>)"; line 0 stands for the file as a whole.
[[noreturn]] void failAt(const std::filesystem::path& path, int line, std::string_view field, std::string_view what);

}  // namespace nivra::hostkit
