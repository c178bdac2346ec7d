// One file of the store: opened, locked, checked, given its tables and prepared.
//
// What holds while it is open: this process has the file for itself, the file passed the database's
// own check, and its tables are ours. A damaged file is renamed before a fresh one is made, and no
// byte of it changes on the way; a file that a newer version wrote is not touched at all. Callers
// take turns: there is no lock in here.
#ifndef MOXPLAT_LINUX_PERSIST_DATABASE_HPP
#define MOXPLAT_LINUX_PERSIST_DATABASE_HPP

#include <moxplat/persist.h>

#include <string>

#include "sql_statement.hpp"

namespace mox::persist {

// What a commit must survive.
enum class Survives { loss_of_power, end_of_process };

class Database {
public:
    Database() = default;
    ~Database() { close(); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // PER_OK; PER_ERROR_DATA_INVALID when a damaged file was kept aside and a fresh one is open;
    // any other code: nothing is open.
    gint32 open(const std::string& directory, const char* name, Survives survives);
    // Closes a file that was opened and then proved to be of no use, for the cause given.
    void give_up(gint32 code);
    void close();

    bool is_open() const { return handle_ != nullptr; }
    // What `open` gave, or the cause of giving up.
    gint32 opened() const { return opened_; }
    // Logs that something cannot be done because the file is not open, and gives the cause's code.
    gint32 refuse(const char* tried) const;

    const StatementSet& statements() const { return statements_; }
    const std::string& path() const { return path_; }
    // No value has a greater sequence number than this: that of the values at open, and of those
    // that were noted since.
    gint64 greatest_sequence() const { return greatest_sequence_; }
    void note_sequence(gint64 sequence) {
        if (sequence > greatest_sequence_) greatest_sequence_ = sequence;
    }

    // Runs SQL without results: PER_OK or the logged failure.
    gint32 run(const char* sql, const char* tried);
    // Ends an open transaction and drops what it changed.
    void undo();
    // Logs a failed step and gives its code.
    gint32 report(const char* tried, int sql) const;

private:
    gint32 open_or_renew(const std::string& directory, Survives survives);
    gint32 open_file(Survives survives);
    gint32 fold_log_on_close(bool is_wanted);
    gint32 take_the_file();
    gint32 check_header(bool& is_empty);
    gint32 check_pages();
    gint32 read_through() const;
    gint32 set_up(bool is_empty, Survives survives);
    gint32 start_the_log();
    gint32 load_statements();
    gint32 ask_number(const char* sql, gint64& number);
    gint32 ask_text(const char* sql, std::string& text);
    gint32 damaged(const std::string& cause) const;

    std::string path_;
    gint32 opened_ = PER_ERROR_CFG_INIT_FAIL;
    sqlite3* handle_ = nullptr;
    StatementSet statements_;
    gint64 greatest_sequence_ = 0;
};

}  // namespace mox::persist

#endif
