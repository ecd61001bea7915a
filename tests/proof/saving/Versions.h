// The configuration that the proofs of saving write again and again, each time in another version.
#ifndef ZEF_TESTS_PROOF_SAVING_VERSIONS_H
#define ZEF_TESTS_PROOF_SAVING_VERSIONS_H

#include <zef_config/ConfigMgr.h>

#include <string>

// The text of a version, in the layout in which the library saves it; versions differ in length.
std::string TextOf(long version);

// The version whose whole text this is; -1: of none, so torn, empty or lost.
long VersionOf(const std::string &text);

// The content of a regular file, "" when there is none. Throws when it cannot be read.
std::string Content(const std::string &path);

// A document that becomes one version after the other.
class Document {
public:
    Document();

    const ConfigMgr &At(long version);

private:
    ConfigMgr manager;
};

#endif
