// Paths, folders, regular expressions and formatting.
//
// Paths are bytes without a trailing "/". Questions about the disk have three answers: yes, no, and
// "could not tell" (no permission, a disk that fails). The comment of each operation says how
// it treats the third; no operation treats it as "no".
//
// The operator chooses the path of a camera's storage folder, which may contain links. Other users
// may write below it: once the camera is loaded, IsDirEmpty, GetDirsInDir and KRRm follow no link
// below its storage folder. They fail at a link, and the log names it.
//
// The platform has no operation for the walk over the files: the tool reads each folder itself,
// with opendir, readdir64_r and stat64, and takes the entries whose type the folder gives as
// DT_REG. It reports a folder that can't be opened. The tool treats a read error within a folder as
// the folder's end, and writes no message: the rows of the files that were not reached count
// as unreferenced. The recorder here therefore watches the tool's calls of readdir64_r, by the
// linker's --wrap, and writes a line of its own that names the folder and the reason. Every
// recorder must check the files again before it deletes rows (DelUnrefRecsFromDB,
// AlertDelUnrefRecsFromDB).
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <list>
#include <string>

// The part of `path` after its last "/"; the whole path if it has none.
[[nodiscard]] std::string GetBaseName(const std::string& path);

// The part of `path` before its last "/": "/" for an entry of the root folder, empty if `path`
// has no "/".
[[nodiscard]] std::string GetDirPath(const std::string& path);

// False if there certainly is no folder at `path` (nothing exists there, or an entry of another
// kind); true otherwise, also when the answer could not be determined. Links are followed.
[[nodiscard]] bool IsExistDir(const std::string& path);

// False if there certainly is no regular file at `path`; true otherwise, also when the answer could
// not be determined. Links are followed.
[[nodiscard]] bool IsFileExist(const std::string& path);

// True if the folder at `path` was read to its end and has no entry except "." and ".."; false
// otherwise, also when the answer could not be determined.
[[nodiscard]] bool IsDirEmpty(const std::string& path);

// Appends the sub-folders of `dir` whose names match `pattern` (as KRRegEx matches; empty: every
// name) to `out`, in the byte order of their names. A link to a folder is not a sub-folder.
//
// `fullPath`: append paths, `dir` in front, that can be opened as they stand; otherwise bare names.
// `recursive`: also list every sub-folder, whether its name matches or not.
//
// Returns 0 on success. Otherwise the listing is not complete, nothing was appended, and the log
// names the folder and the reason; a `dir` that doesn't exist is such a failure, but not logged.
int GetDirsInDir(const std::string& dir, std::list<std::string>& out, bool fullPath, bool recursive,
                 std::string pattern);

// Removes the folder at `path` if it is empty, and nothing else. The folder stays if an entry was
// added in the meantime. Returns 0 if it was removed, another value if it still exists.
int KRRm(const std::string& path);

// A regular expression in the syntax of RE2; what brackets, repetitions, alternatives and anchors
// mean is as in POSIX extended expressions. It is compiled once for each pattern and process,
// however many objects are made of it. Matching works on bytes and takes time linear in the text.
//
// The tool makes objects of the patterns in platform/recording.h and platform/snapshot.h again for
// each file, and passes GetDirsInDir the one of half-day folders (platform/camera.h) and the empty
// one.
class KRRegEx {
public:
    // A pattern that can't be compiled is logged; it then matches nothing.
    explicit KRRegEx(const std::string& pattern);

    // True if the pattern matches anywhere in `text`. "." matches every byte, "^" and "$" only the
    // very beginning and end of the text, newlines or not.
    [[nodiscard]] bool IsMatch(const std::string& text) const;

private:
    const void* m_compiled; // owned by the process-wide store of compiled patterns; never freed
};

// Returns the text that printf would write.
[[nodiscard]] std::string StringPrintf(const char* format, ...)
    __attribute__((format(printf, 1, 2)));
