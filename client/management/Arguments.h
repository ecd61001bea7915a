// The arguments of one management request.
#ifndef ZEF_CLIENT_MANAGEMENT_ARGUMENTS_H
#define ZEF_CLIENT_MANAGEMENT_ARGUMENTS_H

#include <nlohmann/json_fwd.hpp>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zef {

// Reads a request strictly: all functions throw ControlError(Usage) for a member that is missing or of another kind.
// The request must outlive the object.
class Arguments {
public:
    // Also when the request has a member that is neither its envelope's nor one of `known`.
    Arguments(const nlohmann::json &request, std::initializer_list<std::string_view> known);

    std::string Text(const char *name) const;

    // "" when it is missing.
    std::string OptionalText(const char *name) const;

    // At least one.
    std::vector<std::string> Texts(const char *name) const;

    // Nothing when it is missing.
    std::vector<std::string> OptionalTexts(const char *name) const;

    // False when it is missing.
    bool Flag(const char *name) const;

private:
    const nlohmann::json &request;
};

}  // namespace zef

#endif
