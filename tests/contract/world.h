// The surroundings of the platform in a test: operations to prepare them and to examine them from
// outside. Each implementation of the platform has its own implementation of these.

#pragma once

#include "platform/database.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace contract {
class Child;
}

namespace world {

using Field = std::optional<std::string>; // nothing: NULL
using Row = std::vector<Field>;

// Makes the recorder a new one: empties its tables, its log and the scratch folder, and removes its
// settings.
void Reset();

// A folder for the test's storage folders and other files; absolute, without a trailing "/".
std::string ScratchFolder();

// Read and change rows through a connection that is separate from the platform's.
std::vector<Row> Read(KRDB::DB_INSTANCE db, const std::string& select);
void Write(KRDB::DB_INSTANCE db, const std::string& sql);

// Makes a SELECT of exactly this text on DB_SYSTEM return these rows. Does nothing if there is a
// real database: the text itself must return them there.
void AnswerSelect(const std::string& select, const std::vector<std::string>& columns,
                  const std::vector<Row>& rows);

struct CameraRow {
    int id = 0;
    std::string storagePath;
    int dsId = 0;
    Field volumeId = std::nullopt;
};
void AddCamera(const CameraRow& camera);

// The name of a database in the log.
std::string NameInLog(KRDB::DB_INSTANCE db);

// Makes a database unusable until Reset, like a disk with unreadable blocks.
void DamageDatabase(KRDB::DB_INSTANCE db);

// Another writer, which holds the database's write lock until Finish or the end of the object.
class ConcurrentWriter {
public:
    explicit ConcurrentWriter(KRDB::DB_INSTANCE db);
    ~ConcurrentWriter();
    ConcurrentWriter(const ConcurrentWriter&) = delete;
    ConcurrentWriter& operator=(const ConcurrentWriter&) = delete;
    ConcurrentWriter(ConcurrentWriter&&) = delete;
    ConcurrentWriter& operator=(ConcurrentWriter&&) = delete;

    // Returns when the child, which is about to execute a statement on the database, waits for the
    // writer.
    void AwaitWaiting(const contract::Child& child) const;

    void Finish();

private:
    struct Lock;
    std::unique_ptr<Lock> m_lock;
};

// Makes the database refuse to insert or delete this camera's rows in one of its tables.
void RefuseRows(KRDB::DB_INSTANCE db, const std::string& table, int camId);

// The messages in the outbox, oldest first, each as its topic, a space and its body.
std::vector<std::string> Outbox();

// The lines of the log, oldest first.
std::vector<std::string> Log();

// Makes the log unwritable for processes that start from now on.
void MakeLogUnwritable();

// Writes the settings file for processes that start from now on.
void PutSettings(const std::string& toml);

// Lets other users write the settings file, until PutSettings writes it again.
void LetOthersWriteSettings();

} // namespace world
