#include "cli/CommandLine.h"

int main(int argc, char** argv) { return ondrel::CommandLine::run(argc, argv); }
