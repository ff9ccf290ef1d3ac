#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "commandLine.h"

namespace nivra::tool::test {

using Arguments = std::vector<std::string>;

inline Arguments operator+(Arguments list, const Arguments& more) {
  list.insert(list.end(), more.begin(), more.end());
  return list;
}

struct Outcome {
  int code;
  std::string out;
  std::string err;
};

inline Outcome nivra(const Arguments& arguments) {
  std::vector<const char*> argv = {"nivra"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out;
  std::ostringstream err;
  const int code = run(kNivra, static_cast<int>(argv.size()), argv.data(), {out, err});
  return {code, out.str(), err.str()};
}

/// Puts another file in the place of the standard input for as long as it lives.
class StandardInput {
 public:
  explicit StandardInput(int descriptor) : usual(dup(STDIN_FILENO)) { dup2(descriptor, STDIN_FILENO); }
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;
  ~StandardInput() {
    dup2(usual, STDIN_FILENO);
    close(usual);
  }

 private:
  int usual;
};

/// Runs the command with a text on its standard input.
inline Outcome nivraReading(const std::string& text, const Arguments& arguments) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), file.get()), text.size());
  std::rewind(file.get());
  const StandardInput input(fileno(file.get()));
  return nivra(arguments);
}

/// For files that are to be told as the tracker reports them, frame by frame, as streams are.
const inline Arguments kAsStreams = {"--report", "all", "--hold", "always", "--boxes", "smoothed"};

inline std::vector<std::string> splitAt(char separator, const std::string& text) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) pieces.push_back(piece);
  return pieces;
}

/// The numbers of every line.
inline std::vector<std::vector<double>> rowsOf(const std::string& text) {
  std::vector<std::vector<double>> rows;
  for (const std::string& line : splitAt('\n', text)) {
    rows.emplace_back();
    for (const std::string& column : splitAt(',', line)) {
      double number = 0.0;
      const auto end = std::from_chars(column.data(), column.data() + column.size(), number).ptr;
      EXPECT_EQ(end, column.data() + column.size()) << line;
      rows.back().push_back(number);
    }
  }
  return rows;
}

inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

const inline std::string kPlaza = NIVRA_SAMPLES "/plaza";
const inline std::string kInfo = "[Sequence]\nframeRate=25\nseqLength=10\nimWidth=1280\nimHeight=720\n";

/// Gives every test a folder of its own.
class ToolTest : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder); }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string path(const std::string& name) const { return (folder / name).string(); }

  std::string write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories((folder / name).parent_path());
    std::ofstream(folder / name, std::ios::binary) << text;
    return path(name);
  }

  /// A sequence folder with these files.
  std::string sequence(const std::string& detections, const std::string& info = kInfo) const {
    write("sequence/det/det.txt", detections);
    write("sequence/seqinfo.ini", info);
    return path("sequence");
  }

  std::vector<std::string> filesHere() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / (std::string("nivra-") + std::to_string(getpid()) + "-" +
                                                   testing::UnitTest::GetInstance()->current_test_info()->name());
};

}  // namespace nivra::tool::test
