// The statements that the store runs, and one run of one of them.
//
// What holds: a statement is prepared once for the life of its connection. A Query resets its
// statement and drops its values at the end of the scope, so no statement keeps a transaction open
// and none keeps a pointer to a caller's bytes.
#ifndef MOXPLAT_LINUX_PERSIST_SQL_STATEMENT_HPP
#define MOXPLAT_LINUX_PERSIST_SQL_STATEMENT_HPP

#include <glib.h>

#include <array>
#include <cstddef>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace mox::persist {

enum class Sql : std::size_t {
    read_value,
    item_values,
    put_value,
    forget_unless_permanent,
    forget_all,
    sequence_range,
    read_status,
    put_status,
    remove_status,
    forget_status_unless_permanent,
    read_machine_start,
    put_machine_start,
    count
};

// Makes the tables of an empty file and marks it as ours.
extern const char* const schema_sql;
// What the file's header says of us, and the version of the tables.
inline constexpr gint64 application_id = 0x4D4F5842;
inline constexpr gint64 schema_version = 1;

class StatementSet {
public:
    StatementSet() = default;
    ~StatementSet() { finalize(); }
    StatementSet(const StatementSet&) = delete;
    StatementSet& operator=(const StatementSet&) = delete;

    // The database's result; what was prepared before a failure is released by finalize.
    int prepare(sqlite3* database);
    void finalize();
    sqlite3_stmt* get(Sql sql) const { return statements_[static_cast<std::size_t>(sql)]; }

private:
    std::array<sqlite3_stmt*, static_cast<std::size_t>(Sql::count)> statements_{};
};

class Query {
public:
    Query(const StatementSet& set, Sql sql) : statement_{set.get(sql)} {}
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    // Values in the order of the statement's parameters; what they point to outlives the query.
    Query& text(std::string_view value);
    Query& number(gint64 value);
    Query& bytes(gconstpointer data, guint32 size);

    // SQLITE_ROW, SQLITE_DONE or the failure, that of a value included.
    int step();

    gint64 column_number(int column) const;
    // Gives the bytes of a text or blob; valid until the next step. SQLITE_OK, or SQLITE_NOMEM,
    // which is not to be taken for an empty value.
    int column_bytes(int column, std::string_view& bytes) const;

private:
    void note(int result);

    sqlite3_stmt* statement_;
    int next_ = 1;
    int failure_ = 0;
};

}  // namespace mox::persist

#endif
