/// \file
/// The configuration document in memory, its loading and its safe save.
#ifndef ZEF_CONFIG_CONFIG_MGR_H
#define ZEF_CONFIG_CONFIG_MGR_H

#include "ConfigNode.h"
#include "ZefConfigApi.h"

#include <mxml.h>

#include <string>

/// Owner of one document. Every ConfigNode taken from it is invalid once the document is released. One thread at a
/// time; saves must not run beside other rendering of Mini-XML in the process, whose wrap margin they change. Loading
/// takes Mini-XML's error callback of the calling thread for itself and leaves none set.
class ZEF_CONFIG_API ConfigMgr {
public:
    ConfigMgr() = default;
    ~ConfigMgr();

    ConfigMgr(const ConfigMgr &) = delete;
    ConfigMgr &operator=(const ConfigMgr &) = delete;

    /// Loads a file unless a document is held already, which is then kept. Returns 0, or the positive errno when the
    /// file cannot be opened. A file that opens but does not parse, or not for lack of memory, gives 0 as well, and no
    /// document: GetConfig tells.
    int ReadConfig(std::string path);

    /// Makes an empty document of XML version 1.0 unless one is held, and returns its root. Without memory it throws
    /// std::bad_alloc.
    ConfigNode CreateConfig();

    /// The root of the document, above its top element; the empty node without a document.
    ConfigNode GetConfig();

    /// Saves the document in place of an existing file, see ZefIntCfgSaveInner.
    int SaveConfig(std::string path) const;

    /// Deletes the document.
    void Release();

private:
    mxml_node_t *document = nullptr;
};

/// Saves a document over an existing file so that the file is at every moment the old or the new one: the text goes to
/// "<path>.bak", readable by its owner alone, reaches the disk, gets the permission bits of the target and is renamed
/// over it. White space inside values is dropped, and what does not fit 32767 bytes is cut. After a power cut the file is
/// the old or the new one; it is the new one for certain once its folder was synced, too, which is left to the caller.
/// Returns 0; a negated errno when the temporary file cannot be opened, written or closed; -1 when there is no
/// document or no temporary path, or when the target does not exist, its mode cannot be copied or the rename fails. On
/// failure the target is untouched and the temporary file is gone.
ZEF_CONFIG_API int ZefIntCfgSaveInner(mxml_node_t *document, const char *path);

/// Returns path + ".bak" in memory that the caller releases with free, or null.
ZEF_CONFIG_API char *ZefInfCfgMakeBakPath(const char *path);

/// Gives the temporary file the mode of the target and renames it over the target. 0, or -1 with the target untouched.
ZEF_CONFIG_API int ZefInfCfgRename(const char *temporaryPath, const char *path);

/// Returns the text without spaces, tabs and line feeds outside of markup, up to its first zero byte.
ZEF_CONFIG_API std::string XmlRmSpace(const std::string &text);

/// Appends four spaces a level.
ZEF_CONFIG_API void XmlAddSpace(std::string &output, int level);

#endif
