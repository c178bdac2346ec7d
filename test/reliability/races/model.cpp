#include "model.hpp"

#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <shmem.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <utility>

#include "../run_options.hpp"

namespace mox::test {
namespace {

struct Property {
    const char* name;
    std::string type;  // a seventh flag byte and all, as the record holds it
    std::string bytes;
    const char* accessor = nullptr;
};

Property number(const char* name, guint32 value, const char* accessor = nullptr) {
    return {name, "u", std::string(reinterpret_cast<const char*>(&value), sizeof value), accessor};
}

Property text(const char* name, const std::string& value) {
    return {name, "s", value + '\0'};
}

Property reference(const char* name, const std::string& target) {
    return {name, std::string("s\0\0p", 4), target + '\0'};
}

Property real(const char* name) {
    return {name, "d", std::string(sizeof(double), '\0')};
}

struct Place {
    guint32 position = 1;
    const char* mutex_object = "";
    const char* kind = "Logical";
};

OBJECT_HEAD_S* make(const char* class_name, const std::string& name,
                    const std::vector<Property>& properties, const Place& place) {
    auto* const object = static_cast<OBJECT_HEAD_S*>(
        lom_create_object_embryo(static_cast<guint32>(properties.size()), name.c_str(), class_name,
                                 place.mutex_object, place.kind, place.position));
    require(object != nullptr, "no room in the pool for " + name);
    guint32 index = 0;
    for (const Property& property : properties) {
        CONST_TLV_S tlv = {};
        std::memcpy(tlv.type, property.type.data(), property.type.size());
        tlv.size = static_cast<guint32>(property.bytes.size());
        tlv.data = property.bytes.data();
        lom_init_property(object, index, property.name, &tlv, "rw");
        if (property.accessor != nullptr) {
            lom_init_accessor(object, index, property.accessor, 1);
        }
        ++index;
    }
    // Whoever meets the object may write it, from its first moment.
    object->capability = OBJECT_READ_WRITE;
    lom_mutex_object(object);
    lom_add_object(object);
    return object;
}

// Enlarges a record's room as the owner does it for a value that outgrew it.
gint32 store_larger(const gchar* object_name, const gchar* property_name, GVariant* value) {
    return lom_realloc_property(object_name, property_name, g_variant_get_type_string(value),
                                static_cast<guint32>(g_variant_get_size(value)),
                                g_variant_get_data(value));
}

}  // namespace

Model::Model() {
    std::string name = (std::filesystem::temp_directory_path() / "races-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr, "no directory " + name);
    directory_ = name;
    setenv(SHM_SIZE_VARIABLE, "8", 1);
    pub_log_init(nullptr, "races");
    shm_owned_shmem();
    require(shm_create() == MOX_OK, "the pool cannot be made");
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    lom_set_modify_func(store_larger);
    for (const char* const one :
         {"Fan", "Temp", "Board", "Pair", "View", "Expression", "Chip", "Accessor", "Collection"}) {
        require(cls_create_class(one) != nullptr, "the class cannot be made");
    }
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        const std::string at = std::to_string(thread);
        fleeting_[thread] = {{"T" + at + "a", "T" + at + "b"},
                             {"B" + at + "a", "B" + at + "b"},
                             static_cast<guint32>(200 + thread),
                             static_cast<guint32>(100 + thread)};
        for (const std::string& one : fleeting_[thread].temps) lom_name_to_handle(one.c_str());
        for (const std::string& one : fleeting_[thread].boards) lom_name_to_handle(one.c_str());
    }
    lom_name_to_handle("Board:C");
    make_queues();
    make_steady();
}

Model::~Model() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
    osal_process_release_all();
}

void Model::make_queues() {
    for (gint32& queue : queues_) {
        require(osal_process_queue_create(&queue) == OSAL_OK, "a queue cannot be made");
    }
    ipc_msg_set_port(queues_[0]);
}

OBJECT_HEAD_S* Model::keep(OBJECT_HEAD_S* record) {
    lom_ready_object(record);
    steady_.push_back(record);
    return record;
}

void Model::make_steady() {
    put_in_chip(0, 7);
    const Place physical = {.kind = "Physical"};
    keep(make("Chip", "FanChip", {text("Path", directory_.string())}, physical));
    keep(make("Accessor", "FanSpeed",
              {text("Chip", "FanChip"), text("File", "fan1_input"), text("Kind", "attribute"),
               text("Type", "u")},
              physical));
    for (const std::string& fan : fans_) {
        keep(make("Fan", fan,
                  {text("Label", std::string(kMostLetters, 'x')),
                   text("Note", std::string(kMostLetters, 'y')),
                   number("Speed", 1, fan == "Fan1" ? "FanSpeed" : nullptr), number("Level", 2)},
                  {}));
    }
    pair_ = keep(make("Pair", "Pair", {number("A", 5), number("B", 5)}, {}));
    keep(make("Pair", "Partner", {number("A", 6), number("B", 6)}, {.mutex_object = "Pair"}));
    keep(make("View", "View", {reference("Twin", "Fan2.Label")}, {}));
    keep(make("Expression", "Sum",
              {reference("X", "Pair.A"), number("Y", 1), number("Z", 1), number("Xcache", 0),
               number("Ycache", 0), number("Zcache", 0), text("Formula", "X * 2"), real("Value")},
              {}));
}

void Model::make_temp(const std::string& name, guint32 position) {
    lom_ready_object(make("Temp", name, {text("Label", "tttt"), number("Level", 3)}, {position}));
}

void Model::make_board_object(const std::string& name, guint32 position) {
    OBJECT_HEAD_S* const object =
        make("Board", name, {text("Label", "bbbb"), number("Level", 4)}, {position});
    cls_add_object("Board", lom_name_to_handle(name.c_str()));
    lom_ready_object(object);
}

void Model::put_in_chip(int thread, guint32 value) const {
    const std::filesystem::path part = directory_ / ("part" + std::to_string(thread));
    std::ofstream{part} << value << '\n';
    std::filesystem::rename(part, directory_ / "fan1_input");
}

void Model::check_steady() {
    for (const OBJECT_HEAD_S* const object : steady_) {
        const std::string name = object->object_name;
        require(object->ref_count == 1, name + " ends with the reference count " +
                                            std::to_string(object->ref_count) + ", not 1");
        for (int word = 0; word < LOM_REF_BITMAP_WORDS; ++word) {
            require(object->ref_bitmap[word] == 0, name + " ends with a copy's bit set");
        }
    }
    guint32 busy = 0;
    const gint32 listed = osal_process_list_busy(nullptr, 0, &busy);
    require(listed == OSAL_OK && busy == 0,
            std::to_string(busy) + " semaphores are still held or waited for");
}

void Model::remove_fleeting() {
    GHashTable* const unsaved = g_hash_table_new_full(
        g_str_hash, g_str_equal, g_free,
        [](gpointer names) { g_slist_free_full(static_cast<GSList*>(names), g_free); });
    for (const Fleeting& fleeting : fleeting_) {
        for (const std::string& name : fleeting.temps) {
            lom_delete_object(lom_name_to_handle(name.c_str()));
        }
        lom_remove_to_garbage(fleeting.board_position, unsaved);
    }
    g_hash_table_unref(unsaved);
    lom_reclaim_garbage();
    lom_delete_object(lom_name_to_handle("Board:C"));
    cls_clear_newobj_list(cls_get_class("Board"));
}

void Model::remove_steady() {
    for (const OBJECT_HEAD_S* const object : std::exchange(steady_, {})) {
        lom_delete_object(lom_name_to_handle(object->object_name));
    }
}

long pool_used() {
    char* printed = nullptr;
    std::size_t size = 0;
    FILE* const stream = open_memstream(&printed, &size);
    shm_dump(stream);
    std::fclose(stream);
    const std::unique_ptr<char, decltype(&std::free)> owned{printed, std::free};
    const char* const at = std::strstr(printed, "used  : ");
    require(at != nullptr, "the pool does not say what it uses");
    return std::strtol(at + 8, nullptr, 10);
}

}  // namespace mox::test
