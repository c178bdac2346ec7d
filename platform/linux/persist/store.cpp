// A sequence number is given to every value that is written, counted over both files in memory:
// only so can the newest of an item's values be told when its modes lie in different files.
#include "store.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>

#include "machine_start.hpp"
#include "value_check.hpp"
#include "warning.hpp"

namespace mox::persist {
namespace {

constexpr const char* restoring = "restoring the defaults";

// More saves than one life of a process makes, and still a thousand million times that below the
// greatest number that counts as sane.
constexpr gint64 room_for_the_unseen = gint64{1} << 32;

Query& bind_key(Query& query, const ItemKey& key) {
    return query.text(key.object).text(key.name).number(key.has_prefix ? 1 : 0);
}

// PER_OK for a statement that ran to its end.
gint32 finish(Database& file, Query& query, const char* tried) {
    const int result = query.step();
    return result == SQLITE_DONE ? PER_OK : file.report(tried, result);
}

// Hands each of the item's values in a file to each(row), which returns the database's result.
template <typename Each>
gint32 for_each_value(Database& file, const ItemKey& key, Each each) {
    Query query{file.statements(), Sql::item_values};
    int result = bind_key(query, key).step();
    while (result == SQLITE_ROW) {
        result = each(query);
        if (result == SQLITE_OK) result = query.step();
    }
    return result == SQLITE_DONE ? PER_OK : file.report("looking for a value", result);
}

// Whether a row of for_each_value holds the value.
int compare(const Query& row, const ItemValue& value, bool& equal) {
    std::string_view type;
    std::string_view bytes;
    int result = row.column_bytes(2, type);
    if (result == SQLITE_OK) result = row.column_bytes(3, bytes);
    equal = result == SQLITE_OK && type == value.type && bytes.size() == value.size &&
            (value.size == 0 || std::memcmp(bytes.data(), value.data, value.size) == 0);
    return result;
}

gint32 report_no_memory(const Database& file, const ItemKey& key) {
    warn("%s: no memory for the value of %s.%s; try again when there is", file.path().c_str(),
         key.object, key.name);
    return PER_ERROR_MALLOC_FAIL;
}

// Turns the row of a read into a record of g_malloc blocks, when it is what it claims to be.
gint32 deliver(const Query& row, const Database& file, const ItemKey& key, CFG_READ_S& read) {
    std::string_view text;
    std::string_view bytes;
    if (row.column_bytes(0, text) != SQLITE_OK || row.column_bytes(1, bytes) != SQLITE_OK) {
        return report_no_memory(file, key);
    }
    const std::string type{text};
    const bool fits = bytes.size() <= largest_value && is_persisted_type(type.c_str());
    const ValueCheck check =
        fits ? check_value(type.c_str(), static_cast<guint32>(bytes.size()), bytes.data())
             : ValueCheck::bad;
    if (check == ValueCheck::out_of_memory) return report_no_memory(file, key);
    if (check == ValueCheck::bad) {
        warn("%s: the value of %s.%s is damaged: no value of type \"%s\"; save it anew",
             file.path().c_str(), key.object, key.name, type.c_str());
        return PER_ERROR_DATA_INVALID;
    }
    gpointer data = nullptr;
    if (!bytes.empty()) {
        data = g_try_malloc(bytes.size());
        if (data == nullptr) return report_no_memory(file, key);
        std::memcpy(data, bytes.data(), bytes.size());
    }
    read.type = g_strdup(type.c_str());
    read.size = static_cast<guint32>(bytes.size());
    read.data_out = data;
    return PER_OK;
}

}  // namespace

gint32 Store::open(const std::string& state_dir, const std::string& volatile_dir) {
    lasting_.open(state_dir, "values.db", Survives::loss_of_power);
    until_reset_.open(volatile_dir, "reset.db", Survives::end_of_process);
    if (until_reset_.is_open()) {
        const gint32 code = forget_other_starts();
        if (code != PER_OK) until_reset_.give_up(code);
    }
    last_sequence_ = std::max(lasting_.greatest_sequence(), until_reset_.greatest_sequence());
    const bool is_whole = lasting_.is_open() && until_reset_.is_open();
    if (!is_whole) {
        // What is saved now must come after what the other file holds, whose numbers are not known.
        last_sequence_ += room_for_the_unseen;
        unseen_until_ = last_sequence_;
        return lasting_.is_open() ? until_reset_.opened() : lasting_.opened();
    }
    return lasting_.opened() == PER_OK ? until_reset_.opened() : lasting_.opened();
}

gint32 Store::forget_other_starts() {
    const std::string now = machine_start();
    if (now.empty()) return PER_OK;
    constexpr const char* tried = "forgetting the values of another start of the machine";
    {
        Query known{until_reset_.statements(), Sql::read_machine_start};
        int result = known.step();
        std::string_view boot_id;
        if (result == SQLITE_ROW) result = known.column_bytes(0, boot_id);
        if (result != SQLITE_OK && result != SQLITE_DONE) {
            return until_reset_.report(tried, result);
        }
        if (boot_id == now) return PER_OK;
    }
    gint32 code = until_reset_.run("BEGIN", tried);
    if (code != PER_OK) return code;
    {
        Query forget{until_reset_.statements(), Sql::forget_all};
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

// The mode of a row, when values of that mode live in its file.
PER_MODE_E Store::mode_in(const Database& file, gint64 number) {
    for (const PER_MODE_E mode : {PER_MODE_POWER_OFF, PER_MODE_RESET, PER_MODE_PERMANENT}) {
        if (number == mode && &file == &file_of(mode)) return mode;
    }
    return PER_MODE_NOSUPPORT;
}

gint32 Store::find_newest(const ItemKey& key, Newest& newest) {
    for (Database* file : {&lasting_, &until_reset_}) {
        if (!file->is_open()) continue;
        const gint32 code = for_each_value(*file, key, [&](const Query& row) {
            note_newest(*file, row, newest);
            return SQLITE_OK;
        });
        if (code != PER_OK) return code;
    }
    return PER_OK;
}

void Store::note_newest(const Database& file, const Query& row, Newest& newest) {
    const gint64 sequence = row.column_number(1);
    if (sequence > newest.sequence) {
        newest = {mode_in(file, row.column_number(0)), sequence, &file};
    }
}

gint32 Store::is_unchanged(const ItemKey& key, const ItemValue& value, PER_MODE_E mode,
                           bool& unchanged) {
    Newest newest;
    bool equal = false;
    Database& file = file_of(mode);
    gint32 code = for_each_value(file, key, [&](const Query& row) {
        note_newest(file, row, newest);
        return row.column_number(0) == mode ? compare(row, value, equal) : SQLITE_OK;
    });
    unchanged = equal && newest.mode == mode && newest.sequence > unseen_until_;
    if (code != PER_OK || !unchanged) return code;
    Database& other = &file == &lasting_ ? until_reset_ : lasting_;
    // Mostly what the other file holds is older than this, whatever item it is of.
    if (!other.is_open() || other.greatest_sequence() < newest.sequence) return PER_OK;
    const Newest here = newest;
    code = for_each_value(other, key, [&](const Query& row) {
        note_newest(other, row, newest);
        return SQLITE_OK;
    });
    unchanged = code == PER_OK && newest.sequence == here.sequence;
    return code;
}

gint32 Store::save(const ItemKey& key, const ItemValue& value, PER_MODE_E mode) {
    Database& file = file_of(mode);
    if (!file.is_open()) return file.refuse("saving a value");
    bool unchanged = false;
    gint32 code = is_unchanged(key, value, mode, unchanged);
    if (code != PER_OK || unchanged) return code;
    Query query{file.statements(), Sql::put_value};
    bind_key(query, key).number(mode).text(value.type).bytes(value.data, value.size);
    file.note_sequence(last_sequence_ + 1);  // it may be there also when that cannot be told
    code = finish(file, query.number(last_sequence_ + 1), "saving a value");
    if (code == PER_OK) ++last_sequence_;
    return code;
}

gint32 Store::read(const ItemKey& key, PER_MODE_E mode, CFG_READ_S& read) {
    Database& file = file_of(mode);
    if (!file.is_open()) return file.refuse("reading a value");
    Query query{file.statements(), Sql::read_value};
    const int result = bind_key(query, key).number(mode).step();
    if (result == SQLITE_DONE) return PER_ERROR_CFG_ITEM_NOT_INITED;
    if (result != SQLITE_ROW) return file.report("reading a value", result);
    return deliver(query, file, key, read);
}

gint32 Store::is_saved(const ItemKey& key, PER_MODE_E mode, bool& saved) {
    Database& file = file_of(mode);
    if (!file.is_open()) return file.refuse("looking for a value");
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
    if (newest.mode == PER_MODE_NOSUPPORT) {
        warn(
            "%s: the newest value of %s.%s is damaged: its mode is none of this file's; save it "
            "anew",
            newest.file->path().c_str(), key.object, key.name);
        return PER_ERROR_DATA_INVALID;
    }
    mode = newest.mode;
    return PER_OK;
}

gint32 Store::save_status(const gchar* object, const gchar* property, guint32 state) {
    if (!lasting_.is_open()) return lasting_.refuse("saving a state");
    guint32 known = 0;
    const gint32 found = read_status(object, property, known);
    if (found == PER_OK && known == state) return PER_OK;
    if (found != PER_OK && found != PER_ERROR_CFG_ITEM_NOT_INITED) return found;
    Query query{lasting_.statements(), Sql::put_status};
    return finish(lasting_, query.text(object).text(property).number(state), "saving a state");
}

gint32 Store::remove_status(const gchar* object, const gchar* property) {
    if (!lasting_.is_open()) return lasting_.refuse("removing a state");
    Query query{lasting_.statements(), Sql::remove_status};
    return finish(lasting_, query.text(object).text(property), "removing a state");
}

gint32 Store::read_status(const gchar* object, const gchar* property, guint32& state) {
    if (!lasting_.is_open()) return lasting_.refuse("reading a state");
    Query query{lasting_.statements(), Sql::read_status};
    const int result = query.text(object).text(property).step();
    if (result == SQLITE_DONE) return PER_ERROR_CFG_ITEM_NOT_INITED;
    if (result != SQLITE_ROW) return lasting_.report("reading a state", result);
    const gint64 stored = query.column_number(0);
    if (stored < 0 || stored > G_MAXUINT32) {
        warn("%s: the state of %s.%s is damaged: not a word of 32 bits; save it anew",
             lasting_.path().c_str(), object, property);
        return PER_ERROR_DATA_INVALID;
    }
    state = static_cast<guint32>(stored);
    return PER_OK;
}

gint32 Store::restore_defaults() {
    for (const Database* file : {&lasting_, &until_reset_}) {
        if (!file->is_open()) return file->refuse(restoring);
    }
    // The commits come last and one after the other: what fails before changes neither file.
    gint32 code = forget_uncommitted();
    if (code == PER_OK) code = lasting_.run("COMMIT", restoring);
    if (code != PER_OK) {
        lasting_.undo();
        until_reset_.undo();
        return code;
    }
    if (until_reset_.run("COMMIT", restoring) == PER_OK) return PER_OK;
    until_reset_.undo();
    warn(
        "%s: the defaults are half restored: the power-off values, and the save states of "
        "properties without a permanent value, are forgotten in %s; the reset values are still "
        "here; restore the defaults again",
        until_reset_.path().c_str(), lasting_.path().c_str());
    return PER_ERROR_CLEAR_CFG_FLAG;
}

gint32 Store::forget_uncommitted() {
    for (Database* file : {&lasting_, &until_reset_}) {
        const gint32 code = file->run("BEGIN", restoring);
        if (code != PER_OK) return code;
    }
    for (const Sql sql : {Sql::forget_unless_permanent, Sql::forget_status_unless_permanent}) {
        Query query{lasting_.statements(), sql};
        const gint32 code = finish(lasting_, query, restoring);
        if (code != PER_OK) return code;
    }
    Query query{until_reset_.statements(), Sql::forget_all};
    return finish(until_reset_, query, restoring);
}

}  // namespace mox::persist
