// A sequence number is given to every value that is written, counted over both files in memory:
// only so can the newest of an item's values be told when its modes lie in different files.
#include "store.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>

#include "machine_start.hpp"
#include "value_check.hpp"

namespace mox::persist {
namespace {

Query& bind_key(Query& query, const ItemKey& key) {
    return query.text(key.object).text(key.name).number(key.has_prefix ? 1 : 0);
}

// PER_OK for a statement that ran to its end.
gint32 finish(Database& file, Query& query, const char* tried) {
    const int result = query.step();
    return result == SQLITE_DONE ? PER_OK : file.report(tried, result);
}

// Turns the row of a read into a record of g_malloc blocks, when it is what it claims to be.
gint32 deliver(const Query& row, const Database& file, const ItemKey& key, CFG_READ_S& read) {
    const std::string type{row.column_text(0)};
    const std::string_view bytes = row.column_bytes(1);
    const bool fits = bytes.size() <= largest_value && is_persisted_type(type.c_str());
    const ValueCheck check =
        fits ? check_value(type.c_str(), static_cast<guint32>(bytes.size()), bytes.data())
             : ValueCheck::bad;
    if (check == ValueCheck::out_of_memory) return PER_ERROR_MALLOC_FAIL;
    if (check == ValueCheck::bad) {
        g_warning("%s: the value of %s.%s is damaged: no value of type \"%s\"", file.path().c_str(),
                  key.object, key.name, type.c_str());
        return PER_ERROR_DATA_INVALID;
    }
    gpointer data = nullptr;
    if (!bytes.empty()) {
        data = g_try_malloc(bytes.size());
        if (data == nullptr) return PER_ERROR_MALLOC_FAIL;
        std::memcpy(data, bytes.data(), bytes.size());
    }
    read.type = g_strdup(type.c_str());
    read.size = static_cast<guint32>(bytes.size());
    read.data_out = data;
    return PER_OK;
}

}  // namespace

gint32 Store::open(const std::string& state_dir, const std::string& volatile_dir) {
    // The lasting file comes second: when it is damaged, nothing behind it may hide that code.
    const gint32 reset = until_reset_.open(volatile_dir, "reset.db", Survives::end_of_process);
    if (reset != PER_OK && reset != PER_ERROR_DATA_INVALID) return reset;
    const gint32 forgotten = forget_other_starts();
    if (forgotten != PER_OK) return forgotten;
    const gint32 lasting = lasting_.open(state_dir, "values.db", Survives::loss_of_power);
    if (lasting != PER_OK && lasting != PER_ERROR_DATA_INVALID) return lasting;
    last_sequence_ = std::max(lasting_.greatest_sequence(), until_reset_.greatest_sequence());
    return lasting == PER_OK ? reset : lasting;
}

gint32 Store::forget_other_starts() {
    const std::string now = machine_start();
    if (now.empty()) return PER_OK;
    constexpr const char* tried = "forgetting the values of another start of the machine";
    {
        Query known{until_reset_.statements(), Sql::read_machine_start};
        const int result = known.step();
        if (result == SQLITE_ROW && known.column_text(0) == now) return PER_OK;
        if (result != SQLITE_ROW && result != SQLITE_DONE) {
            return until_reset_.report(tried, result);
        }
    }
    gint32 code = until_reset_.run("BEGIN", tried);
    if (code != PER_OK) return code;
    {
        Query forget{until_reset_.statements(), Sql::forget_unless_permanent};
        code = finish(until_reset_, forget, tried);
    }
    if (code == PER_OK) {
        Query put{until_reset_.statements(), Sql::put_machine_start};
        put.text(now);
        code = finish(until_reset_, put, tried);
    }
    // The file is closed on a failure, which rolls back.
    return code == PER_OK ? until_reset_.run("COMMIT", tried) : code;
}

gint32 Store::find_newest(const ItemKey& key, Newest& newest) {
    for (Database* file : {&lasting_, &until_reset_}) {
        Query query{file->statements(), Sql::newest_value};
        const int result = bind_key(query, key).step();
        if (result == SQLITE_DONE) continue;
        if (result != SQLITE_ROW) return file->report("looking for a value", result);
        const gint64 sequence = query.column_number(1);
        if (sequence > newest.sequence) {
            newest = {static_cast<PER_MODE_E>(query.column_number(0)), sequence};
        }
    }
    return PER_OK;
}

gint32 Store::is_unchanged(const ItemKey& key, const ItemValue& value, PER_MODE_E mode,
                           bool& unchanged) {
    unchanged = false;
    Newest newest;
    const gint32 code = find_newest(key, newest);
    if (code != PER_OK || newest.mode != mode) return code;
    Database& file = file_of(mode);
    Query query{file.statements(), Sql::read_value};
    const int result = bind_key(query, key).number(mode).step();
    if (result == SQLITE_ROW) {
        const std::string_view bytes = query.column_bytes(1);
        unchanged = query.column_text(0) == value.type && bytes.size() == value.size &&
                    (value.size == 0 || std::memcmp(bytes.data(), value.data, value.size) == 0);
        return PER_OK;
    }
    return result == SQLITE_DONE ? PER_OK : file.report("looking for a value", result);
}

gint32 Store::save(const ItemKey& key, const ItemValue& value, PER_MODE_E mode) {
    bool unchanged = false;
    gint32 code = is_unchanged(key, value, mode, unchanged);
    if (code != PER_OK || unchanged) return code;
    Database& file = file_of(mode);
    Query query{file.statements(), Sql::put_value};
    bind_key(query, key).number(mode).text(value.type).bytes(value.data, value.size);
    code = finish(file, query.number(last_sequence_ + 1), "saving a value");
    if (code == PER_OK) ++last_sequence_;
    return code;
}

gint32 Store::read(const ItemKey& key, PER_MODE_E mode, CFG_READ_S& read) {
    Database& file = file_of(mode);
    Query query{file.statements(), Sql::read_value};
    const int result = bind_key(query, key).number(mode).step();
    if (result == SQLITE_DONE) return PER_ERROR_CFG_ITEM_NOT_INITED;
    if (result != SQLITE_ROW) return file.report("reading a value", result);
    return deliver(query, file, key, read);
}

gint32 Store::is_saved(const ItemKey& key, PER_MODE_E mode, bool& saved) {
    Database& file = file_of(mode);
    Query query{file.statements(), Sql::read_value};
    const int result = bind_key(query, key).number(mode).step();
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        return file.report("looking for a value", result);
    }
    saved = result == SQLITE_ROW;
    return PER_OK;
}

gint32 Store::newest_mode(const ItemKey& key, PER_MODE_E& mode) {
    Newest newest;
    const gint32 code = find_newest(key, newest);
    if (code != PER_OK) return code;
    if (newest.sequence == 0) return PER_ERROR_CFG_ITEM_NOT_INITED;
    mode = newest.mode;
    return PER_OK;
}

gint32 Store::save_status(const gchar* object, const gchar* property, guint32 state) {
    guint32 known = 0;
    const gint32 found = read_status(object, property, known);
    if (found == PER_OK && known == state) return PER_OK;
    if (found != PER_OK && found != PER_ERROR_CFG_ITEM_NOT_INITED) return found;
    Query query{lasting_.statements(), Sql::put_status};
    return finish(lasting_, query.text(object).text(property).number(state), "saving a state");
}

gint32 Store::remove_status(const gchar* object, const gchar* property) {
    Query query{lasting_.statements(), Sql::remove_status};
    return finish(lasting_, query.text(object).text(property), "removing a state");
}

gint32 Store::read_status(const gchar* object, const gchar* property, guint32& state) {
    Query query{lasting_.statements(), Sql::read_status};
    const int result = query.text(object).text(property).step();
    if (result == SQLITE_DONE) return PER_ERROR_CFG_ITEM_NOT_INITED;
    if (result != SQLITE_ROW) return lasting_.report("reading a state", result);
    const gint64 stored = query.column_number(0);
    if (stored < 0 || stored > G_MAXUINT32) {
        g_warning("%s: the state of %s.%s is damaged: not a word of 32 bits",
                  lasting_.path().c_str(), object, property);
        return PER_ERROR_DATA_INVALID;
    }
    state = static_cast<guint32>(stored);
    return PER_OK;
}

gint32 Store::restore_defaults() {
    constexpr const char* tried = "restoring the defaults";
    gint32 code = lasting_.run("BEGIN", tried);
    if (code != PER_OK) return code;
    for (const Sql sql : {Sql::forget_unless_permanent, Sql::forget_status_unless_permanent}) {
        Query query{lasting_.statements(), sql};
        if (code == PER_OK) code = finish(lasting_, query, tried);
    }
    if (code == PER_OK) code = lasting_.run("COMMIT", tried);
    if (code != PER_OK) {
        lasting_.undo();
        return code;
    }
    Query query{until_reset_.statements(), Sql::forget_unless_permanent};
    return finish(until_reset_, query, tried);
}

}  // namespace mox::persist
