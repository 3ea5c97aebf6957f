// Paths, folders, regular expressions and formatting.
//
// Paths are bytes without a trailing "/". Questions about the disk have three answers: yes, no, and
// "could not tell" (no permission, a disk that fails). Each operation says what it makes of the
// third; none takes it for "it is gone".
//
// The path of a camera's storage folder is the operator's, links included. What is below it belongs
// to whoever may write there: once the camera is loaded, IsDirEmpty, GetDirsInDir and KRRm follow
// no link below its storage folder. They fail there, and the log names the link.
//
// The walk over the files is no operation of the platform: the tool reads each folder itself, with
// opendir, readdir64_r and stat64, and takes the entries whose type the folder gives as DT_REG. It
// reports a folder that can't be opened. A read error within a folder ends the folder, as if that
// were its end, without a message of the tool's: the rows of the files that were not reached count
// as unreferenced. The recorder here therefore watches the tool's calls of readdir64_r, by the
// linker's --wrap, and writes a line of its own that names the folder and the reason. Any recorder
// has to look again before it deletes rows (DelUnrefRecsFromDB, AlertDelUnrefRecsFromDB).
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <list>
#include <string>

// The part of `path` behind its last "/"; the whole of it when there is none.
[[nodiscard]] std::string GetBaseName(const std::string& path);

// The part of `path` before its last "/": "/" for an entry of the root folder, empty when there is
// no "/".
[[nodiscard]] std::string GetDirPath(const std::string& path);

// False when there certainly is no folder at `path` (nothing is there, or something that is no
// folder); true otherwise, also when it could not be told. Links are followed.
[[nodiscard]] bool IsExistDir(const std::string& path);

// False when there certainly is no regular file at `path`; true otherwise, also when it could not
// be told. Links are followed.
[[nodiscard]] bool IsFileExist(const std::string& path);

// True when the folder at `path` was read to its end and has no entry but "." and ".."; false
// otherwise, also when it could not be told.
[[nodiscard]] bool IsDirEmpty(const std::string& path);

// Appends the sub-folders of `dir` whose names match `pattern` (as KRRegEx matches; empty: every
// name) to `out`, in the byte order of their names. A link to a folder is no sub-folder.
//
// `fullPath`: append paths, `dir` in front, that can be opened as they stand; otherwise bare names.
// `recursive`: go on into every sub-folder, whether its own name matches or not.
//
// Returns 0 on success. Otherwise the listing is not complete, nothing was appended, and the log
// names the folder and the reason; a `dir` that doesn't exist is such a failure, but not logged.
int GetDirsInDir(const std::string& dir, std::list<std::string>& out, bool fullPath, bool recursive,
                 std::string pattern);

// Removes the folder at `path` if it is empty, and nothing else: an entry that arrived in the
// meantime keeps it. Returns 0 when it was removed, another value when it is still there.
int KRRm(const std::string& path);

// A regular expression in the syntax of RE2; what brackets, repetitions, alternatives and anchors
// mean is as in POSIX extended expressions. It is compiled once for each pattern and process,
// however many objects are made of it. Matching works on bytes and takes time linear in the text.
//
// The tool makes objects of the patterns in platform/recording.h and platform/snapshot.h, anew for
// each file, and hands GetDirsInDir that of half-day folders (platform/camera.h) and the empty one.
class KRRegEx {
public:
    // A pattern that can't be compiled is logged; it then matches nothing.
    explicit KRRegEx(const std::string& pattern);

    // Whether the pattern matches anywhere in `text`. "." matches every byte, "^" and "$" only the
    // very beginning and end of the text, newlines or not.
    [[nodiscard]] bool IsMatch(const std::string& text) const;

private:
    const void* m_compiled; // owned by the process-wide store of compiled patterns; never freed
};

// The text that printf would write.
[[nodiscard]] std::string StringPrintf(const char* format, ...)
    __attribute__((format(printf, 1, 2)));
