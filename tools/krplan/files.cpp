// Replaces the operations that change files and counts or send notifications: a change to a file is
// noted, the others do nothing.

#include "platform/recording.h"
#include "platform/snapshot.h"
#include "platform/utility.h"
#include "tools/krplan/notebook.h"

using plan::Notebook;
using plan::Reason;

int KRRm(const std::string& path) {
    Notebook::OfThisProcess().Add(Reason::FolderEmpty, path);
    return 0;
}

int CreateThumbnail(const std::string& fullPath) {
    Notebook::OfThisProcess().Add(Reason::ThumbnailMissing, fullPath);
    return 0;
}

int RecordingCount::AddRecCounts(const std::list<std::pair<int, long>>& /*recordings*/,
                                 unsigned long long& /*stamp*/) {
    return 0;
}

int RecordingCount::Recount() {
    return 0;
}

void NotifyEventListUpdate(std::list<Event>& /*events*/, Camera* /*camera*/,
                           EVENT_UPDATE_ACTION /*action*/, int /*receiver*/, int /*session*/,
                           int /*sequence*/) {}

void NotifyAlertEventRefresh(int /*receiver*/, int /*session*/, int /*sequence*/) {}
