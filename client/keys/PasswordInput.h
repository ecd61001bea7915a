// Where the operator's password comes from: a terminal, or a pipe or file.
#ifndef ZEF_CLIENT_KEYS_PASSWORD_INPUT_H
#define ZEF_CLIENT_KEYS_PASSWORD_INPUT_H

#include "keys/SecretBuffer.h"

#include <iosfwd>

namespace zef {

// Reads one password. On a terminal it asks, with the echo off; elsewhere it takes the first line as it is.
//
// While a terminal's echo is off, the signals that end a program (SIGINT, SIGTERM, SIGHUP, SIGQUIT) are held back from
// the calling thread: when one comes, the terminal is put right first, and then the signal takes its course. The same
// goes for the suspension by SIGTSTP, which takes effect once the password has been read. This wants a process without
// other threads.
class PasswordInput {
public:
    // Neither owns the descriptor nor closes it. The questions go to `prompts`.
    PasswordInput(int descriptor, std::ostream &prompts);

    // The password without its newline, not yet checked in any way but for its length. Throws KeyError when it is too
    // long, when reading fails or is interrupted, or when a terminal's two answers differ: on one it asks twice.
    SecretBuffer Read();

    // As Read, but asks once, for a password that is compared with one that is known.
    SecretBuffer ReadOnce();

private:
    enum class Asking { Once, Twice };

    SecretBuffer Read(Asking asking);
    SecretBuffer ReadFromTerminal(Asking asking);

    int descriptor;
    std::ostream &prompts;
};

}  // namespace zef

#endif
