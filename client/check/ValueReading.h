// Reads a value as start-up does where it looks at the attribute "type".
#ifndef ZEF_CLIENT_CHECK_VALUE_READING_H
#define ZEF_CLIENT_CHECK_VALUE_READING_H

#include "check/DocumentReport.h"

#include <zef_config/ConfigNode.h>

#include <optional>
#include <string>

namespace zef {

// Why an element has no text, as a continuation of a sentence.
inline std::string WhyNoText(mxml_node_t *element)
{
    return mxmlGetFirstChild(element) == nullptr ? "it is empty"
                                                 : "a comment, a CDATA section or another element stands before it";
}

// The value; without one a finding says why, a refusal or a warning.
inline std::optional<std::string> ReadTyped(mxml_node_t *element, bool refuses, DocumentReport &report)
{
    const ConfigNode node(element);
    std::string value;
    if (node.GetString(value) == 0) {
        return value;
    }
    const char *const type = mxmlElementGetAttr(element, "type");
    if (type != nullptr && std::string(type) != "string") {
        report.Judge(refuses, element, "wrong-type",
                     NameOf(element) + " has the type " + Quoted(type) + "; it must be \"string\", or have none");
    } else {
        report.Judge(refuses, element, "empty-value", NameOf(element) + " has no text: " + WhyNoText(element));
    }
    return std::nullopt;
}

}  // namespace zef

#endif
