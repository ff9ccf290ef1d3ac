#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "colouredWords.h"
#include "commandLine.h"

namespace {

/// Files that are opened later would take the numbers of closed standard streams: the output file would be read as the
/// standard input, or messages written into it. What is put in their place fails as the closed ones do.
void occupyClosedStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupyClosedStandardStreams();
  // Closed pipes and files that grow too large then show as failing writes, which end the command in good order.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::ios::sync_with_stdio(false);
  const bool isErrTerminal = isatty(STDERR_FILENO) == 1;
  nivra::tool::ColouredWords colouredWords(*std::cerr.rdbuf());
  std::ostream coloured(&colouredWords);
  coloured << std::unitbuf;
  std::ostream& err = isErrTerminal && nivra::tool::ColouredWords::areWanted() ? coloured : std::cerr;
  return nivra::tool::run(argc, argv, std::cout, err, isErrTerminal ? &err : nullptr, isatty(STDOUT_FILENO) == 1);
}
