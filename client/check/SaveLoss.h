// What a save of the configuration would lose.
#ifndef ZEF_CLIENT_CHECK_SAVE_LOSS_H
#define ZEF_CLIENT_CHECK_SAVE_LOSS_H

#include "check/ConfigDocument.h"
#include "check/Finding.h"
#include "check/FindingList.h"

#include <string>
#include <vector>

namespace zef {

// The library's safe save drops white space within values, cuts long documents and knows nothing of some of XML.
// Returns a finding for each thing in this file that a document read from it and saved again would not have any more;
// none when the save is safe. A file that cannot be read or holds no document gives that as a finding.
// Writes nothing. Any thread; changes Mini-XML's wrap margin and error callback of the calling thread.
std::vector<Finding> FindSaveLoss(const std::string &path);

// The same for a document that was loaded and located already.
void AddSaveLoss(const ConfigDocument &document, FindingList &findings);

}  // namespace zef

#endif
