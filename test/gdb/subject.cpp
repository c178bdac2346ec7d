// Two processes for gdb to look at: the owner of a pool with objects of every kind of value, and a
// module with copies of two of them.
//
//   gdb_subject        prints what the helper's answers have to agree with: process ids, addresses
//                      of records, the pool's use and the layouts of the records; then waits for
//                      the end of its input
//   gdb_subject alone  the owner without a module
//   gdb_subject none   a process that has no pool and waits likewise
//   gdb_subject blank  an owner whose pool reads as zeros, as in a core that leaves it out
#include <classnode.h>
#include <lom.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <shmem.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr gint32 module_id = 5;
constexpr guint32 board_position = 7;
constexpr std::size_t pool_bytes = 8U << 20;

void expect(bool is_right, const std::string& what) {
    if (is_right) return;
    std::fprintf(stderr, "gdb_subject: %s\n", what.c_str());
    std::exit(1);
}

void make_pool() {
    shm_owned_shmem();
    expect(shm_create() == MOX_OK, "the pool cannot be made");
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
}

struct Property {
    const char* name;
    const char* type;  // byte 3 is the mark of a reference, so it may stand behind the terminator
    GVariant* value;
    const char* accessor = nullptr;
};

constexpr char reference_type[PUB_TYPE_LENGTH] = {'s', '\0', '\0', PUB_REFERENCE_MARKER};

// is_ready: FALSE leaves the object under construction.
OBJECT_PTR make_object(const char* class_name, const char* name,
                       const std::vector<Property>& properties, const char* mutex = "",
                       const char* type = "Logical", bool is_ready = true) {
    const OBJECT_PTR object = lom_create_object_embryo(
        static_cast<guint32>(properties.size()), name, class_name, mutex, type, board_position);
    expect(object != nullptr, std::string{"no room for "} + name);
    guint32 index = 0;
    for (const Property& property : properties) {
        GVariant* const value = g_variant_ref_sink(property.value);
        CONST_TLV_S tlv = {};
        const bool is_reference = property.type == reference_type;
        std::memcpy(tlv.type, property.type,
                    is_reference ? sizeof reference_type : std::strlen(property.type));
        tlv.size = static_cast<guint32>(g_variant_get_size(value));
        tlv.data = g_variant_get_data(value);
        lom_init_property(object, index, property.name, &tlv, "rw");
        if (property.accessor != nullptr) {
            lom_init_accessor(object, index, property.accessor, 1);
        }
        g_variant_unref(value);
        ++index;
    }
    lom_mutex_object(object);
    lom_add_object(object);
    if (is_ready) lom_ready_object(object);
    std::printf("record %s %p\n", name, object);
    return object;
}

void make_objects() {
    const guint32 limits[] = {1000, 4294967295U};
    const gchar* const tags[] = {"left", "", "h\xc3\xb6her"};
    const guint8 marks[] = {1, 0};
    cls_create_class("Fan");
    make_object("Fan", "fan1",
                {{"Speed", "u", g_variant_new_uint32(1200)},
                 {"Label", "s", g_variant_new_string("front \"left\"\n\x1b[0m \\ \xc2\xb0")},
                 {"Duty", "y", g_variant_new_byte(50)},
                 {"Celsius", "d", g_variant_new_double(36.6)},
                 {"On", "b", g_variant_new_boolean(TRUE)},
                 {"Trim", "n", g_variant_new_int16(-5)},
                 {"Width", "q", g_variant_new_uint16(65535)},
                 {"Offset", "i", g_variant_new_int32(-100000)},
                 {"Limits", "au", g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, limits, 2, 4)},
                 {"Marks", "ab", g_variant_new_fixed_array(G_VARIANT_TYPE_BOOLEAN, marks, 2, 1)},
                 {"Tags", "as", g_variant_new_strv(tags, 3)},
                 {"Long", "as", g_variant_new_strv(nullptr, 0)},
                 {"Twin", reference_type, g_variant_new_string("fan2.Speed")}});
    make_object("Accessor", "acc_fan", {{"Chip", "s", g_variant_new_string("chip")}}, "",
                "Physical");
    make_object("Fan", "fan2", {{"Speed", "u", g_variant_new_uint32(7), "acc_fan"}}, "fan1");
    make_object("Blower", "blower", {});
    expect(lom_set_reference("blower", "fan2") == MOX_OK, "blower cannot stand for fan2");
    make_object("Fan", "half", {}, "", "Logical", false);
}

void change_objects() {
    const OBJ_HANDLE fan = lom_name_to_handle("fan1");
    lom_set_writable(fan, OBJECT_READ_WRITE);
    expect(lom_override_property_value(fan, "Speed", g_variant_new_uint32(999), PROPERTY_OVERRIDE,
                                       nullptr) == MOX_OK,
           "the override is refused");
    expect(lom_count_event(fan, "Speed", FALSE) == MOX_OK, "an event cannot be counted");
    // Longer than the helper shows bytes, and than one byte counts.
    std::vector<std::string> words(60, "abcde");
    std::vector<const gchar*> texts;
    for (const std::string& word : words) texts.push_back(word.c_str());
    GVariant* const value =
        g_variant_ref_sink(g_variant_new_strv(texts.data(), static_cast<gssize>(texts.size())));
    expect(
        lom_realloc_property("fan1", "Long", "as", static_cast<guint32>(g_variant_get_size(value)),
                             g_variant_get_data(value)) == MOX_OK,
        "the long value is refused");
    g_variant_unref(value);
}

void print_field(const char* record, const char* field, std::size_t offset, std::size_t size) {
    std::printf("layout %s %s %zu %zu\n", record, field, offset, size);
}

#define FIELD(record, field) \
    print_field(#record, #field, offsetof(record, field), sizeof(record::field))

void print_layouts() {
    print_field("OBJECT_HEAD_S", "", 0, sizeof(OBJECT_HEAD_S));
    FIELD(OBJECT_HEAD_S, object_name);
    FIELD(OBJECT_HEAD_S, class_name);
    FIELD(OBJECT_HEAD_S, mutex_obj_name);
    FIELD(OBJECT_HEAD_S, ref_bitmap);
    FIELD(OBJECT_HEAD_S, type);
    FIELD(OBJECT_HEAD_S, module);
    FIELD(OBJECT_HEAD_S, position);
    FIELD(OBJECT_HEAD_S, sem_index);
    FIELD(OBJECT_HEAD_S, semid);
    FIELD(OBJECT_HEAD_S, sem_member);
    FIELD(OBJECT_HEAD_S, property_count);
    FIELD(OBJECT_HEAD_S, property_entry);
    FIELD(OBJECT_HEAD_S, name_list);
    FIELD(OBJECT_HEAD_S, refered_object);
    FIELD(OBJECT_HEAD_S, ref_count);
    FIELD(OBJECT_HEAD_S, status);
    FIELD(OBJECT_HEAD_S, capability);
    FIELD(OBJECT_HEAD_S, user_data);
    FIELD(OBJECT_HEAD_S, destroy_func);
    FIELD(OBJECT_HEAD_S, property_hash);
    print_field("SERIALISED_PROPERTY_S", "", 0, sizeof(SERIALISED_PROPERTY_S));
    FIELD(SERIALISED_PROPERTY_S, name);
    FIELD(SERIALISED_PROPERTY_S, type);
    FIELD(SERIALISED_PROPERTY_S, accessor);
    FIELD(SERIALISED_PROPERTY_S, state);
    FIELD(SERIALISED_PROPERTY_S, size);
    FIELD(SERIALISED_PROPERTY_S, capacity);
    FIELD(SERIALISED_PROPERTY_S, next_ptr);
    FIELD(SERIALISED_PROPERTY_S, data);
    FIELD(SERIALISED_PROPERTY_S, data_hold);
    print_field("LOCAL_PROPERTY_S", "", 0, sizeof(LOCAL_PROPERTY_S));
    FIELD(LOCAL_PROPERTY_S, property_ptr);
    FIELD(LOCAL_PROPERTY_S, change_cnt);
    FIELD(LOCAL_PROPERTY_S, receive_cnt);
    print_field("CLASS_OBJECT_LIST_S", "", 0, sizeof(CLASS_OBJECT_LIST_S));
    FIELD(CLASS_OBJECT_LIST_S, class_name);
    FIELD(CLASS_OBJECT_LIST_S, object_name);
    FIELD(CLASS_OBJECT_LIST_S, next);
}

#undef FIELD

void wait_for_end() {
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
}

// Publishes the records that come through the pipe, then waits for its end.
int run_module(int records) {
    OBJECT_HEAD_S record;
    for (int count = 0; count < 2; ++count) {
        expect(read(records, &record, sizeof record) == sizeof record, "no record came");
        shm_app_init();  // there is a pool now
        lom_set_bitmap_id(module_id);
        expect(lom_create_object(sizeof record, &record) != 0, "a copy cannot be published");
    }
    std::printf("module %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
    wait_for_end();
    return 0;
}

void send_copy(int records, const char* name, gboolean is_owner) {
    guint32 size = 0;
    gpointer copy = nullptr;
    expect(lom_copy_object(name, &size, &copy, module_id, is_owner) == MOX_OK, "no copy is made");
    expect(write(records, copy, size) == static_cast<ssize_t>(size), "a copy cannot be sent");
    g_free(copy);
}

void publish_model() {
    make_pool();
    make_objects();
    change_objects();
    print_layouts();
    shm_dump(stdout);
    std::printf("owner %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
}

int run_alone() {
    publish_model();
    wait_for_end();
    return osal_process_release_all() == OSAL_OK ? 0 : 1;
}

int run_owner(int records) {
    publish_model();
    send_copy(records, "fan1", TRUE);
    send_copy(records, "fan2", FALSE);
    wait_for_end();
    return osal_process_release_all() == OSAL_OK ? 0 : 1;
}

int run_without_pool() {
    std::printf("module %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
    wait_for_end();
    return 0;
}

// What it made is the namespace's; it ends without touching it.
int run_blank() {
    make_pool();
    make_objects();
    std::memset(reinterpret_cast<void*>(std::uintptr_t{SHM_POOL_ADDRESS}), 0, pool_bytes);
    std::printf("owner %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
    wait_for_end();
    _exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
    setenv(SHM_SIZE_VARIABLE, "8", 1);
    pub_log_init(nullptr, "gdb_subject");
    const std::string role = argc > 1 ? argv[1] : "";
    if (role == "alone") return run_alone();
    if (role == "none") return run_without_pool();
    if (role == "blank") return run_blank();
    int records[2];
    expect(pipe(records) == 0, "no pipe");
    const pid_t module = fork();
    expect(module >= 0, "no second process");
    if (module == 0) {
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        close(records[1]);
        return run_module(records[0]);
    }
    close(records[0]);
    const int result = run_owner(records[1]);
    int status = 0;
    expect(waitpid(module, &status, 0) == module && status == 0, "the module failed");
    return result;
}
