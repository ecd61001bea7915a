#include "app/CommandLine.h"

int main(int argc, char **argv)
{
    return zef::RunCommandLine(argc, argv);
}
