// The command line as a tree of commands with options and arguments.
#ifndef ZEF_CLIENT_APP_COMMAND_H
#define ZEF_CLIENT_APP_COMMAND_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zef {

// A handle on one command, copied freely; it lives as long as the CommandParser. The only class that knows the library
// behind the command line.
//
// The functions below add an option or an argument that sets a variable, which must live until the command line is
// parsed. The variable's value until then is the default, and shown in the help unless it is empty.
class Command {
public:
    explicit Command(CLI::App &commandApp) : app(&commandApp) {}

    // A command below this one.
    Command Add(const char *name, const char *description) const;

    // This one alone is wrong usage: one of those below it has to be given.
    void RequireOneBelow() const;

    void Flag(const char *name, bool &value, const char *description) const;
    void Option(const char *name, std::string &value, const char *description) const;
    void RequiredOption(const char *name, std::string &value, const char *description) const;
    void Options(const char *name, std::vector<std::string> &values, const char *description) const;
    void Choice(const char *name, std::string &value, const std::vector<std::string> &choices,
                const char *description) const;
    void Number(const char *name, unsigned int &value, unsigned int least, unsigned int most,
                const char *description) const;

    // By position, in the order in which they are added.
    void Argument(const char *name, std::string &value, const char *description) const;
    void OptionalArgument(const char *name, std::string &value, const char *description) const;
    void ArgumentChoice(const char *name, std::string &value, const std::vector<std::string> &choices,
                        const char *description) const;
    void OptionalArgumentChoice(const char *name, std::string &value, const std::vector<std::string> &choices,
                                const char *description) const;
    void Arguments(const char *name, std::vector<std::string> &values, const char *description) const;

    // Called while the command line is parsed, when this command is on it.
    void OnParsed(const std::function<void()> &action) const;

private:
    CLI::App *app;
};

enum class ParseResult {
    Command,  // a command was given
    Help,     // help or version was asked for, and printed
    Wrong,    // wrong usage; why was printed on standard error
};

// Adds the commands to a command line and parses it.
ParseResult ParseCommandLine(int argc, char **argv, const std::function<void(Command &)> &addCommands,
                             const std::string &footer);

}  // namespace zef

#endif
