// The lock is exclusive and taken at open. That also lets the write-ahead log do without a file of
// shared memory, so any file system will do. A commit is then one append to the log and one
// fdatasync; the log is folded into the file every 256 pages and at a clean close.
#include "database.hpp"

#include <moxplat/persist_store.h>
#include <sqlite3.h>

#include <array>

#include "sql_error.hpp"
#include "store_file.hpp"
#include "warning.hpp"

namespace mox::persist {

gint32 Database::open(const std::string& directory, const char* name, Survives survives) {
    path_ = directory + "/" + name;
    opened_ = open_or_renew(directory, survives);
    return opened_;
}

gint32 Database::open_or_renew(const std::string& directory, Survives survives) {
    gint32 code = make_directory(directory);
    if (code != PER_OK) return code;
    code = has_lost_its_file(path_) ? damaged("its write-ahead log is left, its pages are gone")
                                    : open_file(survives);
    if (code == PER_OK) return PER_OK;
    close();
    if (code != PER_ERROR_DATA_INVALID) return code;
    code = set_aside(path_);
    if (code == PER_OK) code = open_file(survives);
    if (code == PER_OK) return PER_ERROR_DATA_INVALID;
    close();
    // A fresh file that is damaged at once is a storage that cannot be used.
    return code == PER_ERROR_DATA_INVALID ? PER_ERROR_FILE_INIT_FAIL : code;
}

void Database::give_up(gint32 code) {
    close();
    opened_ = code == PER_ERROR_DATA_INVALID ? PER_ERROR_FILE_INIT_FAIL : code;
}

gint32 Database::refuse(const char* tried) const {
    warn(
        "%s: %s failed: the file could not be opened at the start: %s; mend that and open the "
        "store again",
        path_.c_str(), tried, cfg_error_text(opened_));
    return opened_;
}

void Database::close() {
    statements_.finalize();
    if (handle_ == nullptr) return;
    const int result = sqlite3_close(handle_);
    if (result != SQLITE_OK) report("closing", result);
    handle_ = nullptr;
}

gint32 Database::report(const char* tried, int sql) const {
    return report_sql(path_, tried, sql, handle_);
}

gint32 Database::damaged(const std::string& cause) const {
    warn("%s: damaged: %s", path_.c_str(), cause.c_str());
    return PER_ERROR_DATA_INVALID;
}

gint32 Database::run(const char* sql, const char* tried) {
    const int result = sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr);
    return result == SQLITE_OK ? PER_OK : report(tried, result);
}

void Database::undo() {
    if (sqlite3_get_autocommit(handle_) == 0) run("ROLLBACK", "undoing a change");
}

gint32 Database::ask_text(const char* sql, std::string& text) {
    sqlite3_stmt* statement = nullptr;
    int result = sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr);
    if (result == SQLITE_OK) result = sqlite3_step(statement);
    if (result == SQLITE_ROW) {
        const unsigned char* answer = sqlite3_column_text(statement, 0);
        if (answer != nullptr) {
            text.assign(reinterpret_cast<const char*>(answer));
        } else if (is_out_of_memory(handle_)) {
            // Not the empty text: a check that seems to find nothing good would damn a good file.
            result = SQLITE_NOMEM;
        }
    }
    sqlite3_finalize(statement);
    return result == SQLITE_ROW ? PER_OK : report(sql, result);
}

gint32 Database::ask_number(const char* sql, gint64& number) {
    std::string text;
    const gint32 code = ask_text(sql, text);
    if (code == PER_OK) number = g_ascii_strtoll(text.c_str(), nullptr, 10);
    return code;
}

gint32 Database::open_file(Survives survives) {
    gint32 code = make_file(path_);
    if (code != PER_OK) return code;
    const int result = sqlite3_open_v2(path_.c_str(), &handle_,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result != SQLITE_OK) return report("opening", result);
    sqlite3_extended_result_codes(handle_, 1);
    // Until the file is known to be ours and whole, closing it must not fold its log into it.
    code = fold_log_on_close(false);
    bool is_empty = false;
    if (code == PER_OK) code = take_the_file();
    if (code == PER_OK) code = check_header(is_empty);
    if (code == PER_OK) code = check_pages();
    if (code == PER_OK) code = run("ROLLBACK", "ending the check");
    if (code == PER_OK) code = set_up(is_empty, survives);
    return code == PER_OK ? fold_log_on_close(true) : code;
}

gint32 Database::fold_log_on_close(bool is_wanted) {
    const int result =
        sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, is_wanted ? 0 : 1, nullptr);
    return result == SQLITE_OK ? PER_OK : report("setting up the close", result);
}

gint32 Database::take_the_file() {
    const gint32 code = run("PRAGMA locking_mode = EXCLUSIVE", "asking for the lock");
    return code == PER_OK ? run("BEGIN EXCLUSIVE", "taking the lock") : code;
}

gint32 Database::check_header(bool& is_empty) {
    gint64 application = 0;
    gint64 version = 0;
    gint64 tables = 0;
    gint32 code = ask_number("PRAGMA application_id", application);
    if (code == PER_OK) code = ask_number("PRAGMA user_version", version);
    if (code == PER_OK) code = ask_number("SELECT count(*) FROM sqlite_schema", tables);
    if (code != PER_OK) return code;
    is_empty = application == 0 && version == 0 && tables == 0;
    if (is_empty || (application == application_id && version == schema_version)) return PER_OK;
    if (application == application_id && version > schema_version) {
        warn("%s: written by a newer version (%" G_GINT64_FORMAT
             ", this one knows %" G_GINT64_FORMAT "); left as it is",
             path_.c_str(), version, schema_version);
        return PER_ERROR_PARSER_INIT_FAIL;
    }
    return damaged("it is no file of this store");
}

gint32 Database::check_pages() {
    constexpr const char* check = "PRAGMA quick_check(1)";
    std::string finding;
    gint32 code = ask_text(check, finding);
    if (code != PER_OK || finding == "ok") return code;
    // The check tells of a page that could not be read as it does of a damaged one. A good file is
    // not put aside because its storage failed.
    code = read_through();
    if (code == PER_OK) code = ask_text(check, finding);
    if (code != PER_OK || finding == "ok") return code;
    return damaged(finding);
}

// Reads file and log to their ends through the descriptors that hold the lock: another one would
// drop it when it is closed.
gint32 Database::read_through() const {
    for (const int which : {SQLITE_FCNTL_FILE_POINTER, SQLITE_FCNTL_JOURNAL_POINTER}) {
        sqlite3_file* file = nullptr;
        if (sqlite3_file_control(handle_, "main", which, &file) != SQLITE_OK || file == nullptr ||
            file->pMethods == nullptr) {
            continue;
        }
        constexpr int part = 4096;
        std::array<char, part> bytes{};
        sqlite3_int64 size = 0;
        int result = file->pMethods->xFileSize(file, &size);
        for (sqlite3_int64 at = 0; at < size && result == SQLITE_OK; at += part) {
            result = file->pMethods->xRead(file, bytes.data(), part, at);
            if (result == SQLITE_IOERR_SHORT_READ) result = SQLITE_OK;  // the last part
        }
        if (result != SQLITE_OK) return report("reading", result);
    }
    return PER_OK;
}

gint32 Database::set_up(bool is_empty, Survives survives) {
    const char* effort = survives == Survives::loss_of_power
                             ? "PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 256"
                             : "PRAGMA synchronous = OFF; PRAGMA wal_autocheckpoint = 256";
    gint32 code = run(effort, "setting up");
    if (code == PER_OK) code = start_the_log();
    if (code == PER_OK && is_empty) code = run(schema_sql, "making the tables");
    return code == PER_OK ? load_statements() : code;
}

gint32 Database::start_the_log() {
    if (sqlite3_db_readonly(handle_, "main") == 1) return report("writing", SQLITE_READONLY);
    std::string mode;
    const gint32 code = ask_text("PRAGMA journal_mode = WAL", mode);
    if (code != PER_OK || mode == "wal") return code;
    warn("%s: no write-ahead log to be had, only \"%s\"", path_.c_str(), mode.c_str());
    return PER_ERROR_FILE_INIT_FAIL;
}

gint32 Database::load_statements() {
    const int result = statements_.prepare(handle_);
    // The header is ours, so a table or column that is missing is damage, not an error in the text.
    if (result == SQLITE_ERROR) return damaged(sqlite3_errmsg(handle_));
    if (result != SQLITE_OK) return report("preparing the statements", result);
    Query query{statements_, Sql::sequence_range};
    const int step = query.step();
    if (step != SQLITE_ROW) return report("looking for the newest value", step);
    constexpr gint64 greatest_sane = G_MAXINT64 / 2;
    const gint64 least = query.column_number(0);
    greatest_sequence_ = query.column_number(1);
    if (least < 0 || greatest_sequence_ > greatest_sane) {
        return damaged("a sequence number is out of range");
    }
    return PER_OK;
}

}  // namespace mox::persist
