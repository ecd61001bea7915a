// Findings about elements of one document.
#ifndef ZEF_CLIENT_CHECK_DOCUMENT_REPORT_H
#define ZEF_CLIENT_CHECK_DOCUMENT_REPORT_H

#include "check/ConfigDocument.h"
#include "check/FindingList.h"

#include <string>

namespace zef {

// What the rules write to. Both objects are the caller's.
class DocumentReport {
public:
    DocumentReport(const ConfigDocument &judgedDocument, FindingList &list) : document(judgedDocument), findings(list)
    {
    }

    void Refuse(mxml_node_t *element, const std::string &id, const std::string &text)
    {
        Add(element, Severity::Error, id, text, true);
    }

    // An error that start-up does not mind.
    void Complain(mxml_node_t *element, const std::string &id, const std::string &text)
    {
        Add(element, Severity::Error, id, text, false);
    }

    void Warn(mxml_node_t *element, const std::string &id, const std::string &text)
    {
        Add(element, Severity::Warning, id, text, false);
    }

    // A refusal or a warning.
    void Judge(bool refuses, mxml_node_t *element, const std::string &id, const std::string &text)
    {
        Add(element, refuses ? Severity::Error : Severity::Warning, id, text, refuses);
    }

private:
    void Add(mxml_node_t *element, Severity severity, const std::string &id, const std::string &text, bool refuses)
    {
        if (findings.WouldDrop(refuses)) {
            findings.Drop(severity);
        } else {
            findings.Add({document.At(element), severity, id, text, refuses, ""});
        }
    }

    const ConfigDocument &document;
    FindingList &findings;
};

}  // namespace zef

#endif
