// One thing that there is to say about a configuration file.
#ifndef ZEF_CLIENT_CHECK_FINDING_H
#define ZEF_CLIENT_CHECK_FINDING_H

#include <string>

namespace zef {

enum class Severity { Warning, Error };

// A place in a file, both from 1; columns count characters. 0 and 0 stand for the file as a whole.
struct Position {
    int line = 0;
    int column = 0;
};

struct Finding {
    Position position;
    Severity severity = Severity::Error;
    std::string id;    // stable, for scripts: "uuid-malformed"
    std::string text;  // for people; one line without control characters, and without a secret
    // Start-up fails because of it. An error need not refuse: XML that is not well-formed may load all the same.
    bool refusesStart = false;
    std::string path;  // the file in question; filled in by CheckConfig and FindSaveLoss
};

}  // namespace zef

#endif
