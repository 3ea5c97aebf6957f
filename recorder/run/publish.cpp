#include "recorder/run/live.h"
#include "recorder/run/runlock.h"
#include "recorder/support/format.h"

#include <exception>

namespace recorder {

namespace {

// The number that stands at both ends of the text. A reader rejects a text in which they differ,
// because it was read while it was being written.
long NextEdition() {
    static long edition = 0;
    return ++edition;
}

std::string TextOf(const LiveRun& live, bool canShowRun) {
    const long edition = NextEdition();
    std::string text = Format(
        "edition %ld\nrun %ld\npid %d\nstart %ld\nprogress %.17g\nkind %s\ncamera %d\n"
        "known %ld\npart_files %ld\nfiles %ld\nfailures %ld\nrefusals %ld\nahead %d\nmark %d\n"
        "edition %ld\n",
        edition, live.run, live.pid, live.startTm, live.progress,
        live.kind.empty() ? "-" : live.kind.c_str(), live.camId, live.known, live.partFiles,
        live.files, live.failures, live.refusals, live.ahead, canShowRun ? 1 : 0, edition);
    text.resize(kMaxLiveRunBytes, '\n');
    return text;
}

} // namespace

void PublishLiveRun(const LiveRun& live) noexcept {
    try {
        if (const RunLock* const lock = HeldRunLock()) {
            lock->Write(TextOf(live, lock->CanShowRun()));
        }
    } catch (const std::exception&) {
        // Out of memory: observers keep seeing the state that was published before.
    }
}

void PublishBeginning(int pid) noexcept {
    LiveRun live;
    live.pid = pid;
    // The record comes first: whoever sees the mark must not read the record of the previous run.
    PublishLiveRun(live);
    RunLock* const lock = HeldRunLock();
    if (lock != nullptr && !lock->ShowRun()) {
        PublishLiveRun(live); // with "mark 0"
    }
}

} // namespace recorder
