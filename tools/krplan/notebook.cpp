#include "tools/krplan/notebook.h"

#include "platform/database.h"
#include "platform/snapshot.h"
#include "platform/utility.h"
#include "recorder/support/medianames.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <array>
#include <climits>
#include <cstdlib>

#include <sysexits.h>
#include <unistd.h>

namespace plan {

namespace {

constexpr std::size_t kWriteAtOnce = 65536;

bool HasCameras(const std::string& kind) {
    return kind == gszTableEvent || kind == gszTableAlertEvent;
}

// Returns the last component of the path of an open folder; empty if it is unknown.
std::string NameOfFolder(int folder) {
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(folder);
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    return length <= 0 ? "" : GetBaseName({path.data(), static_cast<std::size_t>(length)});
}

} // namespace

Notebook& Notebook::OfThisProcess() {
    static Notebook notebook;
    return notebook;
}

void Notebook::NoteCamera(int camId, const std::string& name, const std::string& storagePath) {
    m_storagePaths[camId] = storagePath;
    Write({.reason = Reason::Camera, .kind = "", .camId = camId, .text = name});
}

void Notebook::NoteRunInProgress(int pid, const std::string& unknownWhy) {
    Write({.reason = Reason::RunInProgress, .kind = "", .text = unknownWhy, .number = pid});
}

void Notebook::BeginJob(const std::string& kind) {
    EndPart();
    m_job = kind;
}

void Notebook::BeginPart(const std::string& kind, int camId) {
    if (m_part.kind.empty() || m_part.isKindKnown || m_part.camId != camId) {
        EndPart();
        m_part.camId = camId;
    }
    m_part.kind = kind;
    m_part.isKindKnown = true;
}

void Notebook::TurnToCamera(int camId) {
    if (m_part.kind.empty() || m_part.camId != camId) {
        EndPart();
        m_part.kind = m_job;
        m_part.camId = camId;
    }
}

void Notebook::CountFile(int folder) {
    m_folder = folder;
    ++m_part.files;
}

void Notebook::NoteKnownRows(long rows) {
    m_part.rows = rows;
}

void Notebook::EndPart() {
    // The search for rows of deleted cameras, which has no camera, is not a part for the operator.
    if (!m_part.kind.empty() && HasCameras(m_part.kind) == (m_part.camId != 0)) {
        Write({.reason = Reason::Part,
               .kind = m_part.kind,
               .camId = m_part.camId,
               .text = "",
               .number = m_part.rows,
               .files = m_part.files});
    }
    m_part = Part();
}

void Notebook::Add(Reason reason, const std::string& text) {
    Write({.reason = reason,
           .kind = m_part.kind.empty() ? m_job : m_part.kind,
           .camId = m_part.camId,
           .text = text});
}

void Notebook::AddFileOfWalk(Reason reason, const std::string& fileName) {
    const std::string path =
        HasCameras(m_part.kind) ? NameOfFolder(m_folder) + "/" + fileName : fileName;
    Add(reason, PathOf(m_part.kind, m_part.camId, path));
}

void Notebook::AddRow(Reason reason, const std::string& kind, int camId, const std::string& path,
                      long id) {
    Write({.reason = reason,
           .kind = kind,
           .camId = camId,
           .text = PathOf(kind, camId, path),
           .number = id});
}

void Notebook::Flush() {
    std::string_view rest = m_unwritten;
    while (!rest.empty()) {
        const ssize_t written =
            recorder::Uninterrupted([&] { return write(STDOUT_FILENO, rest.data(), rest.size()); });
        if (written < 0) {
            _exit(EX_IOERR); // the reader is gone
        }
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    m_unwritten.clear();
}

void Notebook::End() {
    EndPart();
    Write({.reason = Reason::End, .kind = "", .text = "", .number = m_notes});
    Flush();
}

void Notebook::Write(const Note& note) {
    m_unwritten += LineOf(note);
    ++m_notes;
    if (m_unwritten.size() >= kWriteAtOnce) {
        Flush();
    }
}

// A deleted camera has no storage folder on record, so its recordings can't be located.
std::string Notebook::PathOf(const std::string& kind, int camId, const std::string& path) const {
    if (kind == gszTableSnapshot) {
        return GetSnapshotFullPath() + "/" + path;
    }
    if (kind == gszTableEmap) {
        return std::string(recorder::kEmapDir) + "/" + path;
    }
    const auto storage = m_storagePaths.find(camId);
    if (storage == m_storagePaths.end()) {
        return path;
    }
    const std::string folder = kind == gszTableAlertEvent
                                   ? storage->second + "/" + recorder::kAlertRecordingDirName
                                   : storage->second;
    return folder + "/" + path;
}

} // namespace plan
