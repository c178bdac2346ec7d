// Both files have the same tables. A value's key ends with its mode, so the same property's values
// of several modes lie side by side; `sequence` grows with every save over both files, so the
// greatest one of a property is its newest value.
#include "sql_statement.hpp"

#include <sqlite3.h>

#include "sql_error.hpp"

namespace mox::persist {

const char* const schema_sql =
    "BEGIN;"
    "CREATE TABLE value (object TEXT NOT NULL, name TEXT NOT NULL, has_prefix INTEGER NOT NULL,"
    " mode INTEGER NOT NULL, type TEXT NOT NULL, data BLOB NOT NULL, sequence INTEGER NOT NULL,"
    " PRIMARY KEY (object, name, has_prefix, mode)) STRICT, WITHOUT ROWID;"
    "CREATE TABLE status (object TEXT NOT NULL, property TEXT NOT NULL, state INTEGER NOT NULL,"
    " PRIMARY KEY (object, property)) STRICT, WITHOUT ROWID;"
    "CREATE TABLE machine_start (one INTEGER PRIMARY KEY, boot_id TEXT NOT NULL) STRICT;"
    "PRAGMA application_id = 0x4D4F5842;"
    "PRAGMA user_version = 1;"
    "COMMIT;";

namespace {

// In the order of Sql. A status row carries the property's name with its prefix, a value row the
// name without it and the mark.
constexpr std::array<const char*, static_cast<std::size_t>(Sql::count)> texts = {
    "SELECT type, data FROM value WHERE object = ? AND name = ? AND has_prefix = ? AND mode = ?",
    // Unsorted: an item has a row or two, and to sort even those the database makes a table first.
    "SELECT mode, sequence, type, data FROM value"
    " WHERE object = ? AND name = ? AND has_prefix = ?",
    "INSERT INTO value (object, name, has_prefix, mode, type, data, sequence)"
    " VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET type = excluded.type,"
    " data = excluded.data, sequence = excluded.sequence",
    "DELETE FROM value WHERE mode <> 2",
    // Without a condition the database would write the table's page even when it is empty.
    "DELETE FROM value WHERE true",
    "SELECT coalesce(min(sequence), 0), coalesce(max(sequence), 0) FROM value",
    "SELECT state FROM status WHERE object = ? AND property = ?",
    "INSERT INTO status (object, property, state) VALUES (?, ?, ?)"
    " ON CONFLICT DO UPDATE SET state = excluded.state",
    "DELETE FROM status WHERE object = ? AND property = ?",
    "DELETE FROM status WHERE NOT EXISTS (SELECT 1 FROM value"
    " WHERE value.object = status.object AND value.mode = 2 AND CASE value.has_prefix"
    " WHEN 0 THEN value.name ELSE 'd:' || value.name END = status.property)",
    "SELECT boot_id FROM machine_start WHERE one = 0",
    "INSERT INTO machine_start (one, boot_id) VALUES (0, ?)"
    " ON CONFLICT DO UPDATE SET boot_id = excluded.boot_id",
};
static_assert(texts.back() != nullptr, "one text for each member of Sql");

}  // namespace

int StatementSet::prepare(sqlite3* database) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const int result = sqlite3_prepare_v3(database, texts[i], -1, SQLITE_PREPARE_PERSISTENT,
                                              &statements_[i], nullptr);
        if (result != SQLITE_OK) return result;
    }
    return SQLITE_OK;
}

void StatementSet::finalize() {
    for (sqlite3_stmt*& statement : statements_) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
}

Query::~Query() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void Query::note(int result) {
    if (failure_ == SQLITE_OK) failure_ = result;
}

Query& Query::text(std::string_view value) {
    note(sqlite3_bind_text64(statement_, next_++, value.data(), value.size(), SQLITE_STATIC,
                             SQLITE_UTF8));
    return *this;
}

Query& Query::number(gint64 value) {
    note(sqlite3_bind_int64(statement_, next_++, value));
    return *this;
}

Query& Query::bytes(gconstpointer data, guint32 size) {
    // A null pointer would bind SQL's null, which is not the empty value.
    note(sqlite3_bind_blob64(statement_, next_++, size == 0 ? "" : data, size, SQLITE_STATIC));
    return *this;
}

int Query::step() {
    return failure_ != SQLITE_OK ? failure_ : sqlite3_step(statement_);
}

gint64 Query::column_number(int column) const {
    return sqlite3_column_int64(statement_, column);
}

int Query::column_bytes(int column, std::string_view& bytes) const {
    // The pointer is asked for first: that may convert the column and change its size.
    const void* data = sqlite3_column_blob(statement_, column);
    // An empty value and a lack of memory look the same, but for the error that is asked for at
    // once.
    if (data == nullptr && is_out_of_memory(sqlite3_db_handle(statement_))) return SQLITE_NOMEM;
    const int size = sqlite3_column_bytes(statement_, column);
    bytes = {};
    if (data != nullptr && size > 0) {
        bytes = {static_cast<const char*>(data), static_cast<std::size_t>(size)};
    }
    return SQLITE_OK;
}

}  // namespace mox::persist
