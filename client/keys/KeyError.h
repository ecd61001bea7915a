// What key management throws when it cannot do what was asked.
#ifndef ZEF_CLIENT_KEYS_KEY_ERROR_H
#define ZEF_CLIENT_KEYS_KEY_ERROR_H

#include <stdexcept>

namespace zef {

// The text is made for the operator: it names the file where one is concerned, and never holds a secret.
class KeyError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The bytes are not what a key file holds: torn, overwritten, or something else altogether.
class DamagedKeysError : public KeyError {
public:
    using KeyError::KeyError;
};

// Neither key file holds keys, and neither was refused: there is nothing to load, and nothing that a write could lose.
class NoKeysError : public KeyError {
public:
    using KeyError::KeyError;
};

// The system does not let this user at the files or their directory.
class KeyAccessError : public KeyError {
public:
    using KeyError::KeyError;
};

// Another process is changing the files and does not come to an end.
class KeysBusyError : public KeyError {
public:
    using KeyError::KeyError;
};

// A sealed text names a key that is not among those held.
class UnknownKeyError : public KeyError {
public:
    using KeyError::KeyError;
};

}  // namespace zef

#endif
