// Tells whether a stream leads to the systemd journal.
#ifndef ZEF_CLIENT_LOG_JOURNAL_STREAM_H
#define ZEF_CLIENT_LOG_JOURNAL_STREAM_H

namespace zef {

// systemd sets JOURNAL_STREAM to "device:inode" of the socket that it connects a service's output to. True when
// `journalStream` (may be null) is well formed and names the file behind `descriptor`: a child with redirected output
// inherits the variable, but not the stream.
bool IsJournalStream(const char *journalStream, int descriptor);

}  // namespace zef

#endif
