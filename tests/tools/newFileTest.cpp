#include "hostkit/files/newFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>

#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

namespace fs = std::filesystem;

class NewFiles : public ToolTest {
 protected:
  /// The signal that ended what a process of its own did; 0 if none did.
  template <class Do>
  static int signalThatEnds(Do work) {
    const pid_t child = fork();
    if (child == 0) {
      work();
      _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

  static void fill(const NewFile& file, const std::string& text) {
    EXPECT_EQ(::write(file.descriptor(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
};

TEST_F(NewFiles, VanishWhenASignalEndsTheProcess) {
  const bool areKnown = [&] {
    const NewFile file(path("tracks.txt"));
    return filesHere().empty();
  }();
  for (const auto naming : {NewFile::Naming::late, NewFile::Naming::early}) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGKILL}) {
      if (signal == SIGKILL && (naming == NewFile::Naming::early || !areKnown)) continue;
      const auto work = [&] {
        const NewFile file(path("tracks.txt"), NewFile::Folders::exist, naming);
        const NewFile other(path("tracks.txt"), NewFile::Folders::exist, naming);
        fill(file, std::string(100'000, 'x'));
        raise(signal);
      };
      EXPECT_EQ(signalThatEnds(work), signal);
      EXPECT_EQ(filesHere(), std::vector<std::string>());
    }
  }
}

TEST_F(NewFiles, StayWhenTheirProcessIgnoresTheSignal) {
  const auto work = [&] {
    std::signal(SIGHUP, SIG_IGN);
    NewFile file(path("tracks.txt"), NewFile::Folders::exist, NewFile::Naming::early);
    raise(SIGHUP);
    file.publish(false);
  };
  EXPECT_EQ(signalThatEnds(work), 0);
  EXPECT_EQ(filesHere(), std::vector<std::string>{"tracks.txt"});
}

TEST_F(NewFiles, ReplaceNobodyWithoutPermission) {
  for (const auto naming : {NewFile::Naming::late, NewFile::Naming::early}) {
    fs::remove_all(path(""));
    fs::create_directories(path(""));
    const std::string place = path("day.jsonl.gz");
    NewFile first(place, NewFile::Folders::exist, naming);
    NewFile second(place, NewFile::Folders::exist, naming);
    NewFile third(place, NewFile::Folders::exist, naming);
    NewFile last(place, NewFile::Folders::exist, naming);
    fill(first, "first");
    fill(second, "second");
    fill(third, "third");
    fill(last, "last");
    first.publish(false);
    for (NewFile* const each : {&second, &third}) {
      const std::string other = path(each == &second ? "day-2.jsonl.gz" : "day-3.jsonl.gz");
      try {
        each->publish(false);
        ADD_FAILURE() << "it took the place";
      } catch (const PlaceTaken& fault) {
        EXPECT_NE(std::string(fault.what()).find(other), std::string::npos) << fault.what();
      }
      EXPECT_EQ(contentOf(other), each == &second ? "second" : "third");
    }
    EXPECT_EQ(contentOf(place), "first");
    fs::permissions(place, fs::perms::owner_read);
    last.publish(true);
    EXPECT_EQ(contentOf(place), "last");
    EXPECT_EQ(fs::status(place).permissions(), fs::perms::owner_read);
    EXPECT_EQ(filesHere(), (std::vector<std::string>{"day-2.jsonl.gz", "day-3.jsonl.gz", "day.jsonl.gz"}));
  }
}

TEST_F(NewFiles, HaveThePermissionsOfPlainOnes) {
  const mode_t usual = umask(027);
  for (const auto naming : {NewFile::Naming::late, NewFile::Naming::early}) {
    NewFile(path("plain"), NewFile::Folders::exist, naming).publish(true);
    EXPECT_EQ(static_cast<unsigned>(fs::status(path("plain")).permissions()), 0640U);
    fs::remove(path("plain"));
  }
  umask(usual);
}

TEST_F(NewFiles, MakeTheirFoldersWhenTheyAreComplete) {
  for (const auto naming : {NewFile::Naming::late, NewFile::Naming::early}) {
    { const NewFile abandoned(path("a/b/c.txt"), NewFile::Folders::areMade, naming); }
    EXPECT_EQ(filesHere(), std::vector<std::string>());
    NewFile(path("a/b/c.txt"), NewFile::Folders::areMade, naming).publish(false);
    EXPECT_EQ(contentOf(path("a/b/c.txt")), "");
    fs::remove_all(path("a"));
  }
}

TEST_F(NewFiles, ComeToTheEndOfALink) {
  fs::create_directories(path("there"));
  fs::create_symlink("there/tracks.txt", path("link"));
  ASSERT_EQ(nivra({"track", kPlaza, "-o", path("link")}).code, 0);
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(contentOf(path("there/tracks.txt")), nivra({"track", kPlaza}).out);
  EXPECT_EQ(nivra({"track", kPlaza, "-o", path("link")}).code, 1) << "without --force";
}

TEST_F(NewFiles, NeedAFolderThatTakesThem) {
  const std::string place = write("closed/tracks.txt", "older");
  constexpr fs::perms kToPass = fs::perms::owner_exec | fs::perms::group_exec;
  fs::permissions(path(""), fs::perms::owner_all | kToPass);
  fs::permissions(path("closed"), kToPass);
  const bool isRoot = geteuid() == 0;
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(isRoot ? seteuid(kNobody) : 0, 0);
  const Outcome outcome = nivra({"track", kPlaza, "--force", "-o", place});
  ASSERT_EQ(isRoot ? seteuid(0) : 0, 0);
  fs::permissions(path("closed"), fs::perms::owner_all);
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.err, "error: cannot write " + place +
                             ": no new file can be made beside it to take its place: Permission denied\n");
  EXPECT_EQ(contentOf(place), "older");
}

TEST_F(NewFiles, LeaveNothingOfAnInterruptedRun) {
  int in[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], STDIN_FILENO);
    close(in[1]);
    _exit(nivra({"track", "-o", path("new/")}).code);
  }
  // More than fits into a pipe: when all of it is written, the run is in the middle.
  const std::string lines(std::size_t{1} << 20, '\n');
  close(in[0]);
  EXPECT_EQ(::write(in[1], lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
  kill(child, SIGTERM);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  close(in[1]);
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
  EXPECT_EQ(filesHere(), std::vector<std::string>());
}

TEST_F(NewFiles, OfTwoRunsAreAllKept) {
  int in[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
  const std::string output = path("tracks.jsonl");
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], STDIN_FILENO);
    close(in[1]);
    _exit(nivra({"track", "-o", output}).code);
  }
  close(in[0]);
  const std::string lines(std::size_t{1} << 20, '\n');
  EXPECT_EQ(::write(in[1], lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
  write("tracks.jsonl", "that of another run");
  EXPECT_EQ(::write(in[1], "{\"end\":null}\n", 13), 13);
  close(in[1]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(contentOf(output), "that of another run");
  EXPECT_NE(contentOf(path("tracks-2.jsonl")).find(R"("camera":"stdin")"), std::string::npos);
}

}  // namespace nivra::tool::test
