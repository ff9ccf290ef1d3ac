#include "commandLine.h"

int main(int argc, char** argv) { return nivra::tool::runProcess(nivra::tool::kNivra, argc, argv); }
