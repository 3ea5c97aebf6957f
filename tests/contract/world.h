// What a test needs to set up the world around the platform, and to look at it from outside: the
// few operations that differ between the implementations of the platform.

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

// Puts the recorder back to its first day: its tables and its log are empty, and so is the scratch
// folder.
void Renew();

// A folder of the test's own, for storage folders and other files; absolute, without a trailing
// "/".
std::string ScratchFolder();

// Rows, by a connection that the platform knows nothing of.
std::vector<Row> Read(KRDB::DB_INSTANCE db, const std::string& select);
void Write(KRDB::DB_INSTANCE db, const std::string& sql);

// Arranges that a SELECT of exactly this text, executed on DB_SYSTEM, yields these rows. Where a
// real database answers, the text itself must do so, and this does nothing.
void Answer(const std::string& select, const std::vector<std::string>& columns,
            const std::vector<Row>& rows);

struct CameraRow {
    int id = 0;
    std::string storagePath;
    int dsId = 0;
    Field volumeId = std::nullopt;
};
void AddCamera(const CameraRow& camera);

// What the log calls a database.
std::string NameInLog(KRDB::DB_INSTANCE db);

// Makes a database unusable until Renew, as a disk that lost its blocks does.
void Spoil(KRDB::DB_INSTANCE db);

// Somebody else who is writing a database, from the construction on until the end of the object or
// of its lock.
class ForeignWriter {
public:
    explicit ForeignWriter(KRDB::DB_INSTANCE db);
    ~ForeignWriter();
    ForeignWriter(const ForeignWriter&) = delete;
    ForeignWriter& operator=(const ForeignWriter&) = delete;
    ForeignWriter(ForeignWriter&&) = delete;
    ForeignWriter& operator=(ForeignWriter&&) = delete;

    // Returns when this process, which is about to execute something on the database, waits for the
    // writer's end.
    void AwaitWaiter(const contract::Child& child) const;

    void Finish();

private:
    struct Lock;
    std::unique_ptr<Lock> m_lock;
};

// Makes a database refuse every row of this camera in one of its tables.
void RefuseRows(KRDB::DB_INSTANCE db, const std::string& table, int camId);

// The words to other services that are kept for delivery, oldest first.
std::vector<std::string> Outbox();

// The lines of the log, oldest first.
std::vector<std::string> Log();

// Makes the log impossible to write for processes that start from now on.
void SpoilLog();

// The text of the settings file that processes read which start from now on.
void PutSettings(const std::string& toml);

// Takes from that file, until it is put anew, what shows that nobody else has written it.
void LetOthersWriteSettings();

} // namespace world
