// The open store: which of its two files a mode's values live in, and what is newest over both.
//
// What holds: every successful change is committed when the call returns. A save that changes
// nothing writes nothing. A file that cannot be used takes only its own modes with it: calls on
// them are refused with its code. Callers take turns: there is no lock in here.
#ifndef MOXPLAT_LINUX_PERSIST_STORE_HPP
#define MOXPLAT_LINUX_PERSIST_STORE_HPP

#include <moxplat/persist.h>

#include <string>

#include "database.hpp"

namespace mox::persist {

struct ItemKey {
    const gchar* object;
    const gchar* name;  // without its prefix
    bool has_prefix;
};

struct ItemValue {
    const gchar* type;
    gconstpointer data;
    guint32 size;
};

class Store {
public:
    // As Database::open, for both files: the code of the first that cannot be used, the lasting one
    // before the other; else that of the first that was kept aside.
    gint32 open(const std::string& state_dir, const std::string& volatile_dir);
    // Whether one of the files is open at least.
    bool is_open() const { return lasting_.is_open() || until_reset_.is_open(); }
    // What opening the file of a mode came to.
    gint32 opened(PER_MODE_E mode) { return file_of(mode).opened(); }

    gint32 save(const ItemKey& key, const ItemValue& value, PER_MODE_E mode);
    gint32 read(const ItemKey& key, PER_MODE_E mode, CFG_READ_S& read);
    gint32 is_saved(const ItemKey& key, PER_MODE_E mode, bool& saved);
    gint32 newest_mode(const ItemKey& key, PER_MODE_E& mode);

    gint32 save_status(const gchar* object, const gchar* property, guint32 state);
    gint32 remove_status(const gchar* object, const gchar* property);
    gint32 read_status(const gchar* object, const gchar* property, guint32& state);

    // PER_ERROR_CLEAR_CFG_FLAG: the lasting file's part is done, the other's is not. Any other
    // code: nothing changed.
    gint32 restore_defaults();

private:
    // The newest value of an item over the open files; sequence 0 when there is none, the mode
    // PER_MODE_NOSUPPORT when its row has one that the file does not keep.
    struct Newest {
        PER_MODE_E mode = PER_MODE_NOSUPPORT;
        gint64 sequence = 0;
        const Database* file = nullptr;
    };

    Database& file_of(PER_MODE_E mode) { return mode == PER_MODE_RESET ? until_reset_ : lasting_; }
    gint32 forget_other_starts();
    gint32 forget_uncommitted();
    PER_MODE_E mode_in(const Database& file, gint64 number);
    void note_newest(const Database& file, const Query& row, Newest& newest);
    gint32 find_newest(const ItemKey& key, Newest& newest);
    // Whether the value is stored as it is, and is the item's newest.
    gint32 is_unchanged(const ItemKey& key, const ItemValue& value, PER_MODE_E mode,
                        bool& unchanged);

    Database lasting_;
    Database until_reset_;
    gint64 last_sequence_ = 0;
    // Up to this number a file that is not open may hold newer values than the open one.
    gint64 unseen_until_ = 0;
};

}  // namespace mox::persist

#endif
