#include "app/Program.h"

int main(int argc, char** argv) { return vantorel::runApplication(argc, argv); }
