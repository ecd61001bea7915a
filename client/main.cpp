#include "app/CommandLine.h"

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for the command line the process ends
int main(int argc, char **argv)
{
    return zef::RunCommandLine(argc, argv);
}
