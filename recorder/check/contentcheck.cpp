#include "recorder/check/contentcheck.h"

#include "recorder/check/contenttable.h"
#include "recorder/check/filecontents.h"
#include "recorder/check/partfolder.h"
#include "recorder/database/mediaselection.h"
#include "recorder/support/error.h"
#include "recorder/support/timetext.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <utility>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kFilesOfTransaction = 1000;
constexpr std::chrono::seconds kRecordEvery{2}; // a check that was killed repeats this much

const std::vector<FindingType>& ContentFindings() {
    static const std::vector<FindingType> types{FindingType::Changed, FindingType::Rot,
                                                FindingType::ReadError};
    return types;
}

std::string TimeOf(const FileContents& contents) {
    return UtcTimeText(contents.takenTm).value_or("an unknown time");
}

struct Examinations {
    long ofContents = 0;
    long ofFindings = 0;
};

// Puts on record what became of the files of a part.
class ContentRecord {
public:
    ContentRecord(const CheckedPart& part, Examinations numbers,
                  const std::function<void(const Finding&)>& found)
        : m_part(part), m_numbers(numbers), m_found(found) {
        MediaSelection selection;
        selection.kinds = {part.table.name};
        if (HasCameras(part.table)) {
            selection.cameras = {part.camId};
        }
        ForEachFinding(selection, [this](const Finding& finding) {
            if (IsOfContents(finding.type)) {
                m_onRecord.insert(finding.path);
            }
        });
    }

    // The file was read; `file` has what is to be on record of its contents.
    void AddRead(const FileToRead& file) {
        m_files.push_back(file);
        if (m_files.size() >= kFilesOfTransaction || Clock::now() - m_written > kRecordEvery) {
            Write();
        }
    }

    void AddFinding(const FileToRead& file, FindingType type, const std::string& detail) {
        Finding finding;
        finding.kind = m_part.table.name;
        finding.camId = m_part.camId;
        finding.path = file.path;
        finding.type = type;
        finding.detail = detail;
        m_found(m_findings.emplace_back(std::move(finding)));
    }

    // Removes the earlier findings of the file's contents.
    void Resolve(const FileToRead& file) {
        if (m_onRecord.contains(file.path)) {
            ResolveFindingsOf(m_part.table.name, m_part.camId, file.path, ContentFindings());
        }
    }

    // Findings first: a check that is killed in between reads the files again.
    void Write() {
        RecordFindings(m_findings, m_numbers.ofFindings);
        m_findings.clear();
        RecordContents(m_part, m_files, m_numbers.ofContents);
        m_files.clear();
        m_written = Clock::now();
    }

private:
    static bool IsOfContents(FindingType type) {
        return std::find(ContentFindings().begin(), ContentFindings().end(), type) !=
               ContentFindings().end();
    }

    const CheckedPart& m_part;
    Examinations m_numbers;
    const std::function<void(const Finding&)>& m_found;
    std::set<std::string> m_onRecord; // the paths with findings of earlier checks
    std::vector<Finding> m_findings;
    std::vector<FileToRead> m_files;
    Clock::time_point m_written = Clock::now();
};

// Reads the files of a part, page by page.
class PartReader {
public:
    PartReader(const CheckedPart& part, const ContentOptions& options, Examinations numbers,
               const std::function<void(const Finding&)>& found,
               const std::function<void(long)>& progress)
        : m_part(part), m_options(options), m_examination(numbers.ofContents), m_progress(progress),
          m_record(part, numbers, found) {
        FindFolder();
    }

    // Reads the files that were never read.
    void ReadUnread() {
        while (HasTime()) {
            m_page = NextUnreadFiles(m_part, m_last);
            if (m_page.empty()) {
                break;
            }
            ReadPage();
        }
        m_last = {};
    }

    // The examination that read the next of the other files; nothing if no more are to be read.
    [[nodiscard]] std::optional<long> NextExamination() {
        if (HasTime() && m_page.empty()) {
            m_page = NextFilesReadBefore(m_part, m_examination, m_last);
        }
        return HasTime() && !m_page.empty() ? std::optional(m_page.front().examination)
                                            : std::nullopt;
    }

    // Reads the files of the page, until the time is over or the disk is gone.
    void ReadPage() {
        for (FileToRead& file : m_page) {
            if (!HasTime()) {
                break;
            }
            m_last = file;
            Read(file);
        }
        m_page.clear();
        m_record.Write();
    }

    [[nodiscard]] PartContents Finish() {
        const UnreadRows unread = RowsNotRead(m_part, m_examination);
        m_result.notRead = unread.count;
        m_result.oldestTm = unread.oldestTm;
        ForgetContentsWithoutRow(m_part);
        return std::move(m_result);
    }

private:
    [[nodiscard]] bool HasTime() const { return m_folder && !m_options.end.IsOver(); }

    // Without the disk, nothing can be said of the part's files.
    void FindFolder() {
        try {
            m_folder.emplace(FolderOf(m_part));
        } catch (const std::exception& error) {
            m_folder.reset();
            m_result.problems.emplace_back(error.what());
        }
    }

    void Read(FileToRead& file) {
        const std::optional<RowPlace> place = PlaceOf(m_part.table, file.path);
        if (!place || !m_folder->Enter(place->folder, m_result.problems) ||
            !m_folder->Folder().IsOpen()) {
            return;
        }
        Take(file, ReadFile(m_folder->Folder(), place->name, m_folder->Path() + "/" + place->name));
    }

    void Take(FileToRead& file, const FileReading& reading) {
        switch (reading.outcome) {
        case FileReading::Outcome::Read:
            m_result.bytes += reading.contents.size;
            m_progress(reading.contents.size);
            Compare(file, reading.contents);
            break;
        case FileReading::Outcome::Lost:
            FindFolder();
            if (m_folder) {
                Report(file, FindingType::ReadError, reading.why);
            }
            break;
        case FileReading::Outcome::BeingWritten:
            ++m_result.beingWritten;
            break;
        case FileReading::Outcome::Unknown:
            m_result.problems.push_back(reading.why);
            break;
        case FileReading::Outcome::Absent: // the check of names reports it
            break;
        }
    }

    void Compare(FileToRead& file, const FileContents& now) {
        FileContents& known = file.known;
        const bool isTouched = known.size != now.size || known.mtimeNs != now.mtimeNs;
        if (known.sha256 == now.sha256) {
            ++m_result.same;
            known.size = now.size;
            known.mtimeNs = now.mtimeNs;
        } else if (known.sha256.empty()) {
            ++m_result.taken;
            known = now;
        } else if (isTouched && m_options.acceptChanged) {
            ++m_result.accepted;
            known = now;
        } else if (isTouched) {
            Report(file, FindingType::Changed, "other contents than at " + TimeOf(known));
            return;
        } else {
            Report(file, FindingType::Rot,
                   "other contents than at " + TimeOf(known) +
                       ", but the same size and modification time");
            return;
        }
        m_record.Resolve(file);
        m_record.AddRead(file);
    }

    void Report(const FileToRead& file, FindingType type, const std::string& detail) {
        if (!FindRow(m_part, file.rowId, file.path)) {
            return; // the row was removed, and perhaps its file replaced
        }
        ++m_result.findings;
        m_record.Resolve(file);
        m_record.AddFinding(file, type, detail);
        m_record.AddRead(file);
    }

    const CheckedPart& m_part;
    const ContentOptions& m_options;
    const long m_examination;
    const std::function<void(long)>& m_progress;
    ContentRecord m_record;
    std::optional<PartFolder> m_folder; // nothing: the part's disk is not there
    std::vector<FileToRead> m_page;
    FileToRead m_last;
    PartContents m_result;
};

// The reader whose next files were not read for the longest time; null if no files are left.
PartReader* OldestOf(const std::vector<std::unique_ptr<PartReader>>& readers) {
    PartReader* oldest = nullptr;
    long oldestExamination = 0;
    for (const std::unique_ptr<PartReader>& reader : readers) {
        const std::optional<long> examination = reader->NextExamination();
        if (examination && (oldest == nullptr || *examination < oldestExamination)) {
            oldest = reader.get();
            oldestExamination = *examination;
        }
    }
    return oldest;
}

} // namespace

std::vector<PartContents> CheckContents(const std::vector<CheckedPart>& parts,
                                        const ContentOptions& options, long examination,
                                        const std::function<void(const Finding&)>& found,
                                        const std::function<void(long)>& progress) {
    const Examinations numbers{NewContentExamination(), examination};
    std::vector<std::unique_ptr<PartReader>> readers;
    readers.reserve(parts.size());
    for (const CheckedPart& part : parts) {
        readers.push_back(std::make_unique<PartReader>(part, options, numbers, found, progress));
        readers.back()->ReadUnread();
    }
    while (PartReader* const oldest = OldestOf(readers)) {
        oldest->ReadPage();
    }
    std::vector<PartContents> results;
    results.reserve(readers.size());
    for (const std::unique_ptr<PartReader>& reader : readers) {
        results.push_back(reader->Finish());
    }
    return results;
}

} // namespace recorder
