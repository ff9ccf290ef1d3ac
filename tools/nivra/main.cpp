#include <unistd.h>

#include <csignal>
#include <iostream>

#include "commandLine.h"

int main(int argc, char** argv) {
  // Closed pipes and files that grow too large then show as failing writes, which end the command in good order.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::ios::sync_with_stdio(false);
  const bool isWatched = isatty(STDERR_FILENO) == 1;
  return nivra::tool::run(argc, argv, std::cout, std::cerr, isWatched ? &std::cerr : nullptr);
}
