// A permanent save of a number through the core and the reference store, beside the database's own
// upsert of the same row: one prepared statement, committed in full to a file of the same folder.
#include <benchmark/benchmark.h>
#include <moxplat/persist_store.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

#include "model.hpp"
#include "row_failure.hpp"
#include "store_folder.hpp"
#include "stored_floor.hpp"

namespace mox::bench {
namespace {

const std::string& store_folder() {
    static const StoreFolder folder;
    return folder.path();
}

// The store of this process, while one lives.
struct OpenStore {
    OpenStore() {
        const gint32 code = cfg_store_open(store_folder().c_str(), store_folder().c_str());
        if (code != PER_OK) {
            std::fprintf(stderr, "moxbench: no store: %s\n", cfg_error_text(code));
            std::exit(1);
        }
    }
    ~OpenStore() { cfg_store_close(); }
    OpenStore(const OpenStore&) = delete;
    OpenStore& operator=(const OpenStore&) = delete;
};

OBJ_HANDLE save_object() {
    static const OBJ_HANDLE handle = make_writable_object("save");
    return handle;
}

// Times the calls that come once the databases' logs have their full length: appending to a file
// that grows takes longer than writing over what it has, and both stores are to be past that.
template <typename Call>
void repeat(benchmark::State& state, Call call) {
    constexpr int kLogPages = 256;  // one for each change
    for (int ahead = 0; ahead < 2 * kLogPages; ++ahead) {
        call();
    }
    for (auto _ : state) {
        if (!call()) {
            fail_row("a save failed");
        }
    }
}

void save_row(benchmark::State& state, guint32 step) {
    const OBJ_HANDLE object = save_object();
    const OpenStore store;
    guint32 number = 100;
    repeat(state, [&] {
        GVariant* value = g_variant_ref_sink(g_variant_new_uint32(number += step));
        const gint32 result =
            lom_save_property_value(object, kProperty, value, PER_MODE_PERMANENT, FALSE, FALSE);
        g_variant_unref(value);
        return result == PER_OK;
    });
}

// A database set up as the store sets up its own, with one table of the same columns.
class FloorDatabase {
public:
    FloorDatabase() {
        const std::string path = store_folder() + "/floor.db";
        check(sqlite3_open_v2(path.c_str(), &handle_,
                              SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                              nullptr));
        check(sqlite3_exec(handle_,
                           "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL;"
                           "PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 256;"
                           "CREATE TABLE IF NOT EXISTS value (object TEXT NOT NULL,"
                           " name TEXT NOT NULL, has_prefix INTEGER NOT NULL,"
                           " mode INTEGER NOT NULL, type TEXT NOT NULL, data BLOB NOT NULL,"
                           " sequence INTEGER NOT NULL,"
                           " PRIMARY KEY (object, name, has_prefix, mode)) STRICT, WITHOUT ROWID",
                           nullptr, nullptr, nullptr));
        put_ = prepare(
            "INSERT INTO value (object, name, has_prefix, mode, type, data, sequence)"
            " VALUES ('save_500', 'Value', 0, 2, 'u', ?1, 1)"
            " ON CONFLICT DO UPDATE SET data = excluded.data");
        get_ = prepare(
            "SELECT type, data FROM value WHERE object = 'save_500' AND name = 'Value'"
            " AND has_prefix = 0 AND mode = 2");
    }
    ~FloorDatabase() {
        sqlite3_finalize(put_);
        sqlite3_finalize(get_);
        sqlite3_close(handle_);
    }
    FloorDatabase(const FloorDatabase&) = delete;
    FloorDatabase& operator=(const FloorDatabase&) = delete;

    bool put(guint32 number) {
        sqlite3_bind_blob(put_, 1, &number, sizeof(number), SQLITE_STATIC);
        const bool is_done = sqlite3_step(put_) == SQLITE_DONE;
        sqlite3_reset(put_);
        return is_done;
    }

    bool holds(guint32 number) {
        const bool is_equal = sqlite3_step(get_) == SQLITE_ROW &&
                              sqlite3_column_bytes(get_, 1) == sizeof(number) &&
                              std::memcmp(sqlite3_column_blob(get_, 1), &number, 4) == 0;
        sqlite3_reset(get_);
        return is_equal;
    }

private:
    void check(int result) {
        if (result != SQLITE_OK) {
            std::fprintf(stderr, "moxbench: no database: %s\n", sqlite3_errmsg(handle_));
            std::exit(1);
        }
    }

    sqlite3_stmt* prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v3(handle_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
        return statement;
    }

    sqlite3* handle_ = nullptr;
    sqlite3_stmt* put_ = nullptr;
    sqlite3_stmt* get_ = nullptr;
};

// A value, the object, the property, then what the database must do.
template <typename Store>
void floor_row(benchmark::State& state, guint32 step, Store store) {
    FloorDatabase database;
    StoredFloor floor;
    guint32 number = 100;
    database.put(number);  // an unchanged save finds it
    repeat(state, [&] {
        GVariant* value = g_variant_ref_sink(g_variant_new_uint32(number += step));
        floor.find_object();
        floor.find_property("Value5");
        const bool is_done = store(database, g_variant_get_uint32(value));
        g_variant_unref(value);
        return is_done;
    });
}

void changed(benchmark::State& state) {
    save_row(state, 1);
}
void floor_changed(benchmark::State& state) {
    floor_row(state, 1,
              [](FloorDatabase& database, guint32 number) { return database.put(number); });
}
void unchanged(benchmark::State& state) {
    save_row(state, 0);
}
void floor_unchanged(benchmark::State& state) {
    floor_row(state, 0,
              [](FloorDatabase& database, guint32 number) { return database.holds(number); });
}

BENCHMARK(changed)->Name("save/changed")->UseRealTime();
BENCHMARK(floor_changed)->Name("floor/save/changed")->UseRealTime();
BENCHMARK(unchanged)->Name("save/unchanged")->UseRealTime();
BENCHMARK(floor_unchanged)->Name("floor/save/unchanged")->UseRealTime();

}  // namespace
}  // namespace mox::bench
