#include "worker/workerCommands.h"

int main(int argc, char** argv) { return nivra::tool::runProcess(nivra::worker::kNivraWorker, argc, argv); }
