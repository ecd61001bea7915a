// The UUID that the process holds, whatever earlier cases left.
#ifndef ZEF_TESTS_SUPPORT_HELD_UUID_H
#define ZEF_TESTS_SUPPORT_HELD_UUID_H

#include "support/XmlDocument.h"

#include <zef_config/UuidConfig.h>

#include <string>

// Makes the library hold a text as its UUID; one that is no UUID, and none at all, included.
inline void HoldUuid(const std::string &text)
{
    const XmlDocument document("<Config/>");
    ConfigNode config(document.Root());
    config.Create("Uuid").SetString(text);
    (void)UuidConfig::GetInstance().SetFromConfig(config);
}

#endif
