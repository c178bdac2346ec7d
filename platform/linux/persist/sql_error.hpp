// What a failure of the database means to the callers of the store, and how it is reported.
#ifndef MOXPLAT_LINUX_PERSIST_SQL_ERROR_HPP
#define MOXPLAT_LINUX_PERSIST_SQL_ERROR_HPP

#include <moxplat/persist.h>

#include <string>

struct sqlite3;

namespace mox::persist {

// The store's code for an extended result code of the database.
gint32 code_of_sql(int sql);

// Whether the connection's last call failed for a lack of memory.
bool is_out_of_memory(sqlite3* database);

// Logs one line that names the file, what was tried, why it failed and what to do, and gives the
// store's code.
// database: null when there is no connection to ask for the cause.
gint32 report_sql(const std::string& path, const char* tried, int sql, sqlite3* database);

}  // namespace mox::persist

#endif
