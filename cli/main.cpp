#include "cli/Program.h"

int main(int argc, char** argv) { return vantorel::cli::runProgram(argc, argv); }
