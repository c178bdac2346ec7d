// The database's codes come extended: the low byte is the family.
#include "sql_error.hpp"

#include <sqlite3.h>

#include "warning.hpp"

namespace mox::persist {
namespace {

const char* what_to_do(gint32 code) {
    switch (code) {
        case PER_ERROR_FILE_LOCK_FAIL:
            return "; end the process that has the file open";
        case PER_ERROR_FILE_OPEN_FAIL:
            return "; see to it that the file and its directory can be read";
        case PER_ERROR_FILE_WRITE_FAIL:
            return "; make room, or let the file and its directory be written";
        case PER_ERROR_DATA_INVALID:
            return "; a damaged file is kept aside when the store opens";
        case PER_ERROR_MALLOC_FAIL:
            return "; try again when there is memory";
        default:
            return "";
    }
}

}  // namespace

gint32 code_of_sql(int sql) {
    if (sql == SQLITE_IOERR_READ) return PER_ERROR_FILE_OPEN_FAIL;
    if (sql == SQLITE_IOERR_CORRUPTFS) return PER_ERROR_DATA_INVALID;
    if (sql == SQLITE_IOERR_NOMEM) return PER_ERROR_MALLOC_FAIL;
    switch (sql & 0xff) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return PER_OK;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return PER_ERROR_DATA_INVALID;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:
            return PER_ERROR_FILE_LOCK_FAIL;
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return PER_ERROR_FILE_OPEN_FAIL;
        case SQLITE_READONLY:
        case SQLITE_FULL:
        case SQLITE_IOERR:
            return PER_ERROR_FILE_WRITE_FAIL;
        case SQLITE_NOMEM:
            return PER_ERROR_MALLOC_FAIL;
        default:
            return PER_ERROR_CFG_ITEM_INIT_FAIL;
    }
}

bool is_out_of_memory(sqlite3* database) {
    return code_of_sql(sqlite3_extended_errcode(database)) == PER_ERROR_MALLOC_FAIL;
}

gint32 report_sql(const std::string& path, const char* tried, int sql, sqlite3* database) {
    const int system_error = database == nullptr ? 0 : sqlite3_system_errno(database);
    const bool is_system =
        system_error != 0 && ((sql & 0xff) == SQLITE_IOERR || (sql & 0xff) == SQLITE_CANTOPEN);
    // A row or an end where the other was expected is a failure without a code of its own.
    const gint32 known = code_of_sql(sql);
    const gint32 code = known == PER_OK ? gint32{PER_ERROR_CFG_ITEM_INIT_FAIL} : known;
    warn("%s: %s failed: %s%s%s (%d)%s", path.c_str(), tried, sqlite3_errstr(sql),
         is_system ? ": " : "", is_system ? g_strerror(system_error) : "", sql, what_to_do(code));
    return code;
}

}  // namespace mox::persist
