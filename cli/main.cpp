#include "cli/Program.h"
#include "cli/StandIn.h"

int main(int argc, char** argv)
{
    return vantorel::cli::runStandingIn([argc, argv] { return vantorel::cli::runProgram(argc, argv); });
}
