// What is persisted: the bytes of the store's files, a stored type and its bytes on their way into
// a property, and bytes that are in the pool already, past the library.
#include <lom.h>
#include <moxplat/osal.h>
#include <moxplat/persist_store.h>
#include <shmem.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <array>
#include <fstream>
#include <string>

#include "fuzz_input.hpp"
#include "fuzz_target.hpp"
#include "ipc_namespace.hpp"
#include "model/saved_state.hpp"
#include "scratch_dir.hpp"

namespace {

using mox::fuzz::Bytes;
using mox::fuzz::FuzzInput;
using mox::fuzz::promise;

constexpr std::array<PER_MODE_E, 3> modes = {PER_MODE_POWER_OFF, PER_MODE_RESET,
                                             PER_MODE_PERMANENT};
constexpr std::array<const char*, 10> types = {"u",  "s",  "b", "d",     "as",
                                               "ay", "ad", "n", "a{sv}", "ai"};

// The property "P<type>" has a value of that type.
std::string property_of(const std::string& type) {
    return "P" + type;
}

// What the process that has the store answers.
std::string answered_type;
Bytes answered_bytes;

gint32 answer(const gchar*, const gchar*, CFG_READ_S* read, gboolean, PER_MODE_E) {
    read->type = g_strdup(answered_type.c_str());
    read->size = static_cast<guint32>(answered_bytes.size());
    read->data_out = g_memdup2(answered_bytes.data(), answered_bytes.size());
    return PER_OK;
}

void read_item(const char* object, const std::string& name, gboolean has_prefix) {
    PER_MODE_E newest = PER_MODE_NOSUPPORT;
    cfg_newest_mode(object, name.c_str(), has_prefix, &newest);
    for (const PER_MODE_E mode : modes) {
        CFG_READ_S read = {};
        gboolean saved = FALSE;
        cfg_is_saved(object, name.c_str(), has_prefix, mode, &saved);
        if (cfg_read_v2(object, name.c_str(), &read, has_prefix, mode) == PER_OK) {
            promise(read.type != nullptr && (read.size == 0 || read.data_out != nullptr),
                    "a value that was read is whole");
        }
        cfg_read_free(&read);
    }
}

void use_store() {
    for (const char* const name : {"Speed", "Label", "Limits", "Count"}) {
        read_item("Fan1", name, FALSE);
        read_item("Fan1", name, TRUE);
        guint32 state = 0;
        cfg_status_read("Fan1", name, &state);
    }
    const guint32 speed = 7;
    for (const PER_MODE_E mode : modes) {
        if (cfg_save_v2("Fan1", "Speed", "u", sizeof speed, &speed, FALSE, mode) == PER_OK) {
            CFG_READ_S read = {};
            promise(cfg_read_v2("Fan1", "Speed", &read, FALSE, mode) == PER_OK &&
                        read.size == sizeof speed &&
                        std::memcmp(read.data_out, &speed, sizeof speed) == 0,
                    "what was told to be saved is there");
            cfg_read_free(&read);
        }
    }
    cfg_status_save("Fan1", "Speed", 3);
    cfg_store_restore_defaults();
}

void write_file(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// The input as a file of the store, or as one with its log; opened, used and opened again.
void open_files(FuzzInput& input) {
    static const mox::fuzz::ScratchDir scratch;
    static constexpr std::array<const char*, 3> files = {"state/values.db", "run/reset.db",
                                                         "state/values.db-journal"};
    const std::string state = scratch.path("state");
    const std::string run = scratch.path("run");
    std::filesystem::create_directories(state);
    std::filesystem::create_directories(run);
    const std::size_t choice = input.below(files.size() + 1);
    if (choice < files.size()) {
        write_file(scratch.path(files[choice]), input.rest());
    } else {
        write_file(state + "/values.db", input.bytes(input.take<guint16>()));
        write_file(state + "/values.db-wal", input.rest());
    }
    for (int times = 0; times < 2; ++times) {
        cfg_store_open(state.c_str(), run.c_str());
        use_store();
        cfg_store_close();
    }
    std::filesystem::remove_all(state);
    std::filesystem::remove_all(run);
}

void take_answer(FuzzInput& input) {
    const std::string own = types[input.below(types.size())];
    answered_type = input.below(4) == 0 ? input.line() : own;
    answered_bytes = input.rest();
}

// As a property's value at the restore.
void restore(FuzzInput& input) {
    take_answer(input);
    for (const char* const type : types) {
        mox::host::ObjectDef object;
        object.name = "Fan1";
        mox::host::PropertyValue property;
        property.name = property_of(type);
        property.type = type;
        const auto bytes = mox::host::saved_value(object, property, PER_MODE_PERMANENT);
        if (!bytes) {
            continue;
        }
        promise(answered_type == type, "a value is restored only to a property of its type");
        static const guint8 nothing = 0;
        lom_realloc_property("Fan1", property.name.c_str(), type,
                             static_cast<guint32>(bytes->size()),
                             bytes->empty() ? static_cast<gconstpointer>(&nothing) : bytes->data());
        GVariant* value = nullptr;
        if (lom_get_property_value(lom_name_to_handle("Fan1"), property.name.c_str(), FALSE, &value,
                                   FALSE) == MOX_OK) {
            const mox::fuzz::VariantPtr held(g_variant_ref_sink(value));
            mox::fuzz::read_through(held.get());
        }
    }
}

// As what a reader of saved values gets: from the store, or unchecked from another process.
void read_saved(FuzzInput& input) {
    const gboolean is_remote = input.below(2) == 0 ? FALSE : TRUE;
    take_answer(input);
    for (const char* const type : types) {
        GVariant* value = nullptr;
        if (lom_get_saved_value(lom_name_to_handle("Fan1"), property_of(type).c_str(), &value,
                                PER_MODE_PERMANENT, is_remote) == MOX_OK) {
            const mox::fuzz::VariantPtr held(g_variant_ref_sink(value));
            mox::fuzz::read_through(held.get());
        }
    }
}

SERIALISED_PROPERTY_S& record_of(const std::string& property) {
    guint32 size = 0;
    gpointer copy = nullptr;
    promise(lom_copy_object("Fan1", &size, &copy, 0, FALSE) == MOX_OK, "the object is there");
    SERIALISED_PROPERTY_S* at = static_cast<OBJECT_HEAD_S*>(copy)->property_entry;
    g_free(copy);
    while (property != at->name) {
        at = at->next_ptr;
    }
    return *at;
}

// As a process puts them there that writes past the library: no writer has looked at them, so each
// reader has to.
void read_foreign(FuzzInput& input) {
    const OBJ_HANDLE handle = lom_name_to_handle("Fan1");
    const std::string type = types[input.below(types.size())];
    const std::string name = property_of(type);
    const Bytes bytes = input.rest();
    static const guint8 nothing = 0;
    lom_realloc_property("Fan1", name.c_str(), type.c_str(), static_cast<guint32>(bytes.size()),
                         bytes.empty() ? &nothing : bytes.data());
    SERIALISED_PROPERTY_S& record = record_of(name);
    if (bytes.size() <= record.capacity) {
        std::copy(bytes.begin(), bytes.end(), static_cast<guint8*>(record.data));
        record.size = bytes.size();
    }
    GVariant* value = nullptr;
    if (lom_get_property_value(handle, name.c_str(), FALSE, &value, FALSE) == MOX_OK) {
        const mox::fuzz::VariantPtr held(g_variant_ref_sink(value));
        mox::fuzz::read_through(held.get());
        lom_set_property_value(handle, name.c_str(), held.get(), PER_MODE_NOSUPPORT, FALSE);
    }
    GSList names = {const_cast<char*>(name.c_str()), nullptr};
    GSList* values = nullptr;
    if (lom_multiget_property_value(handle, &names, &values) == MOX_OK) {
        const mox::fuzz::VariantPtr held(g_variant_ref_sink(static_cast<GVariant*>(values->data)));
        g_slist_free(values);
        mox::fuzz::read_through(held.get());
    }
    guchar room[16];
    lom_get_property_value_v2(handle, name.c_str(), FALSE, sizeof room, room, FALSE);
    lom_save_property_value(handle, name.c_str(), nullptr, PER_MODE_PERMANENT, FALSE, FALSE);
}

void make_object() {
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    OBJECT_PTR const object =
        lom_create_object_embryo(static_cast<guint32>(types.size()), "Fan1", "Fan", "", "", 1);
    guint32 index = 0;
    for (const std::string type : types) {
        const guint64 zeros = 0;
        const bool is_fixed = pub_str_type_check(type.c_str()) == GVARIANT_FIX;
        CONST_TLV_S tlv = {};
        type.copy(tlv.type, sizeof tlv.type - 1);
        tlv.data = &zeros;
        const mox::fuzz::VariantPtr nothing =
            mox::fuzz::untrusted(G_VARIANT_TYPE(type.c_str()), {});
        const mox::fuzz::VariantPtr normal(g_variant_get_normal_form(nothing.get()));
        tlv.size = is_fixed ? static_cast<guint32>(g_variant_get_size(normal.get())) : 0;
        lom_init_property(object, index, property_of(type).c_str(), &tlv, "rw");
        ++index;
    }
    lom_add_object(object);
    lom_ready_object(object);
}

void remove_pool() {
    osal_process_release_all();
    const int id = shmget(SHM_POOL_KEY, 0, 0);
    if (id >= 0) {
        shmctl(id, IPC_RMID, nullptr);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const std::string cause = mox::test::enter_ipc_namespace();
    promise(cause.empty(), cause.c_str());
    g_log_set_writer_func(
        [](GLogLevelFlags, const GLogField*, gsize, gpointer) { return G_LOG_WRITER_HANDLED; },
        nullptr, nullptr);
    static const CFG_REMOTE_S remote = {
        [](const gchar*, const gchar*, const gchar*, guint32, gconstpointer, gboolean, PER_MODE_E) {
            return gint32{PER_OK};
        },
        answer,
        [](const gchar*, const gchar*, gboolean, PER_MODE_E, gboolean*) { return gint32{PER_OK}; },
        [](const gchar*, const gchar*, guint32) { return gint32{PER_OK}; },
        [](const gchar*, const gchar*) { return gint32{PER_OK}; }};
    cfg_store_set_remote(&remote);
    lom_set_remote_get_saved_value_func(answer);
    shm_owned_shmem();
    promise(shm_create() == MOX_OK, "the system gives a pool");
    std::atexit(remove_pool);
    make_object();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr std::array<void (*)(FuzzInput&), 4> parts = {open_files, restore, read_saved,
                                                                  read_foreign};
    FuzzInput input(data, size);
    parts[input.below(parts.size())](input);
    return 0;
}
