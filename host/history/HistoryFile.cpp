#include "host/history/HistoryFile.h"

#include "host/base/HostException.h"
#include "host/base/SystemText.h"

#include <sqlite3.h>

namespace Rvl {

namespace {

constexpr std::int32_t applicationId = 0x52564c48; // "RVLH"
constexpr std::int32_t schemaVersion = 1;
constexpr int busyTimeout_ms = 1000;

// Times are milliseconds since 1970. What the tables are for: docs/history.md.
constexpr const char* schema = R"(
CREATE TABLE controller(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, unit TEXT NOT NULL);
CREATE TABLE health(id INTEGER PRIMARY KEY, kind INTEGER NOT NULL, text TEXT NOT NULL, UNIQUE(kind, text));
CREATE TABLE event(id INTEGER PRIMARY KEY, time INTEGER NOT NULL, kind INTEGER NOT NULL,
    controller INTEGER REFERENCES controller(id), text TEXT NOT NULL);
CREATE INDEX eventTime ON event(time);
CREATE TABLE moment(id INTEGER PRIMARY KEY, time INTEGER NOT NULL, samples BLOB NOT NULL);
CREATE TABLE stretch(id INTEGER PRIMARY KEY, controller INTEGER NOT NULL REFERENCES controller(id),
    begin INTEGER NOT NULL, end INTEGER NOT NULL, count INTEGER NOT NULL, samples BLOB NOT NULL);
CREATE INDEX stretchTime ON stretch(controller, begin, end, count);
CREATE TABLE level(controller INTEGER NOT NULL REFERENCES controller(id), length INTEGER NOT NULL,
    begin INTEGER NOT NULL, mode INTEGER NOT NULL, health INTEGER NOT NULL,
    setCount INTEGER NOT NULL, setMinimum REAL, setMaximum REAL, setSum REAL,
    actualCount INTEGER NOT NULL, actualMinimum REAL, actualMaximum REAL, actualSum REAL,
    controlCount INTEGER NOT NULL, controlMinimum REAL, controlMaximum REAL, controlSum REAL,
    PRIMARY KEY(controller, length, begin)) WITHOUT ROWID;
)";

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what, const std::string& why)
{
    throw CHostException(ExitFailure, what + " " + textOf(file) + ": " + why);
}

/// Throws if the file is not a history of this version. An empty database is none.
void checkHistory(SQLite::Database& database, const std::filesystem::path& file)
{
    try {
        const std::int32_t id = database.execAndGet("PRAGMA application_id").getInt();
        const std::int32_t version = database.execAndGet("PRAGMA user_version").getInt();
        if (id != applicationId) {
            throw CHostException(ExitFailure, textOf(file) + " is not a history");
        }
        if (version != schemaVersion) {
            throw CHostException(ExitFailure, "the history " + textOf(file) + " is of version " +
                                                  std::to_string(version) + "; expected version " +
                                                  std::to_string(schemaVersion));
        }
    } catch (const SQLite::Exception& exception) {
        if (exception.getErrorCode() == SQLITE_NOTADB) {
            throw CHostException(ExitFailure, textOf(file) + " is not a history");
        }
        fail(file, "cannot read the history", exception.what());
    }
}

/// Under another name until it is complete: a process that is killed meanwhile leaves no half of a history.
void create(const std::filesystem::path& file)
{
    std::filesystem::path unfinished = file;
    unfinished += ".new";
    std::error_code error;
    std::filesystem::remove(unfinished, error);
    {
        SQLite::Database database(textOf(unfinished), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        database.exec("PRAGMA auto_vacuum = INCREMENTAL");
        database.exec("PRAGMA journal_mode = WAL");
        SQLite::Transaction transaction(database);
        database.exec("PRAGMA application_id = " + std::to_string(applicationId));
        database.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
        database.exec(schema);
        transaction.commit();
    }
    std::filesystem::rename(unfinished, file, error);
    if (error) {
        fail(file, "cannot create the history", systemMessage(static_cast<unsigned long>(error.value())));
    }
}

bool isAbsentOrEmpty(const std::filesystem::path& file)
{
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        return true;
    }
    return std::filesystem::is_regular_file(file, ignored) && std::filesystem::file_size(file, ignored) == 0;
}

} // namespace

SQLite::Database openHistoryForWriting(const std::filesystem::path& file)
{
    try {
        if (isAbsentOrEmpty(file)) {
            create(file);
        }
    } catch (const SQLite::Exception& exception) {
        fail(file, "cannot create the history", exception.what());
    }
    openHistoryForReading(file); // which changes nothing of what is something else
    try {
        SQLite::Database database(textOf(file), SQLite::OPEN_READWRITE, busyTimeout_ms);
        // the log is flushed to the disk only when it is copied back: a crash of the system, not of the
        // program, loses what was committed since
        database.exec("PRAGMA synchronous = NORMAL");
        database.exec("PRAGMA journal_size_limit = 16777216");
        return database;
    } catch (const SQLite::Exception& exception) {
        fail(file, "cannot write the history", exception.what());
    }
}

SQLite::Database openHistoryForReading(const std::filesystem::path& file)
{
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        throw CHostException(ExitFailure, "there is no history " + textOf(file));
    }
    if (!std::filesystem::is_regular_file(file, ignored)) {
        throw CHostException(ExitFailure, textOf(file) + " is not a history");
    }
    try {
        SQLite::Database database(textOf(file), SQLite::OPEN_READONLY, busyTimeout_ms);
        checkHistory(database, file);
        return database;
    } catch (const SQLite::Exception& exception) {
        fail(file, "cannot read the history", exception.what());
    }
}

} // namespace Rvl
