// Sizes and offsets of every public record. Wire records are the same on every word size; the
// offsets of records with pointers are those of this word size, because a pool and the records that
// lead into it are of one word size.
#include <classnode.h>
#include <classtree.h>
#include <gtest/gtest.h>
#include <ipcmsg.h>
#include <lom/object.h>
#include <moxlib/moxbase.h>
#include <moxplat/driver.h>
#include <moxplat/persist.h>
#include <moxplat/space.h>
#include <mxroute.h>
#include <pub.h>

#include <cstddef>
#include <cstdio>
#include <type_traits>
#include <vector>

namespace {

constexpr bool k32 = sizeof(void*) == 4;

// The one of two numbers that holds for this word size.
constexpr std::size_t on(std::size_t bits32, std::size_t bits64) {
    return k32 ? bits32 : bits64;
}

struct Field {
    const char* name;
    std::size_t offset;
    std::size_t size;
    std::size_t expected_offset;
    std::size_t expected_size;
};

void compare(const char* record, std::size_t size, std::size_t expected_size,
             const std::vector<Field>& fields) {
    std::printf("%-28s %5zu bytes\n", record, size);
    EXPECT_EQ(size, expected_size) << record;
    for (const Field& field : fields) {
        std::printf("  %5zu %5zu  %s\n", field.offset, field.size, field.name);
        EXPECT_EQ(field.offset, field.expected_offset) << record << "." << field.name;
        EXPECT_EQ(field.size, field.expected_size) << record << "." << field.name;
    }
}

// A record that is copied between processes, or between C and C++, as it lies in memory.
template <typename Record>
constexpr bool kIsPlain = std::is_standard_layout_v<Record>&& std::is_trivially_copyable_v<Record>;

#define FIELD(record, name, expected_offset, expected_size)                                 \
    Field {                                                                                 \
#name, offsetof(record, name), sizeof(record::name), expected_offset, expected_size \
    }
// The array without a length at the end of a record.
#define TAIL(record, name, expected_offset)                  \
    Field {                                                  \
#name, offsetof(record, name), 0, expected_offset, 0 \
    }
#define COMPARE(record, expected_size, ...)   \
    static_assert(kIsPlain<record>, #record); \
    compare(#record, sizeof(record), expected_size, {__VA_ARGS__})

constexpr std::size_t kPointer = sizeof(void*);

TEST(WireRecord, OfAValueHasTheDocumentedOffsets) {
    COMPARE(RPC_DATA_S, 12, FIELD(RPC_DATA_S, type, 0, 6), FIELD(RPC_DATA_S, padding, 6, 2),
            FIELD(RPC_DATA_S, size, 8, 4), TAIL(RPC_DATA_S, data, 12));
    EXPECT_EQ(PUB_RPC_HEAD_SIZE, 12U);
}

TEST(WireRecord, OfAMessageHeaderHasTheDocumentedOffsets) {
    COMPARE(MOX_MSG_HEAD_S, 76, FIELD(MOX_MSG_HEAD_S, mtype, 0, 4),
            FIELD(MOX_MSG_HEAD_S, msg_head, 4, 8), FIELD(MOX_MSG_HEAD_S, ipc_source, 12, 4),
            FIELD(MOX_MSG_HEAD_S, ipc_target, 16, 4), FIELD(MOX_MSG_HEAD_S, msg_type, 20, 4),
            FIELD(MOX_MSG_HEAD_S, msg_ver, 24, 4), FIELD(MOX_MSG_HEAD_S, length, 28, 4),
            FIELD(MOX_MSG_HEAD_S, sequence, 32, 4), FIELD(MOX_MSG_HEAD_S, reserved2, 36, 40));
    static_assert(std::is_signed_v<decltype(MOX_MSG_HEAD_S::mtype)>);
    static_assert(std::is_unsigned_v<decltype(MOX_MSG_HEAD_S::length)>);
}

TEST(WireRecord, OfAWholeMessageHoldsItsLargestPayload) {
    COMPARE(MOX_MSG_S, 8268, FIELD(MOX_MSG_S, head, 0, 76), FIELD(MOX_MSG_S, data, 76, 8192));
    EXPECT_EQ(IPC_MSG_MAX_PAYLOAD, 8192U);
}

TEST(WireRecord, OfTheQueueLayerHasATypeAndABuffer) {
    COMPARE(QUE_MSG_S, 8200, FIELD(QUE_MSG_S, mtype, 0, 4), FIELD(QUE_MSG_S, buffer, 4, 8193));
}

TEST(WireRecord, OfAPropertyEventHasTheDocumentedOffsets) {
    COMPARE(MSG_EVENT_DATA_HEAD_S, 76, FIELD(MSG_EVENT_DATA_HEAD_S, object_name, 0, 32),
            FIELD(MSG_EVENT_DATA_HEAD_S, property_name, 32, 32),
            FIELD(MSG_EVENT_DATA_HEAD_S, type, 64, 6), FIELD(MSG_EVENT_DATA_HEAD_S, padding, 70, 2),
            FIELD(MSG_EVENT_DATA_HEAD_S, size, 72, 4), TAIL(MSG_EVENT_DATA_HEAD_S, data, 76));
}

TEST(WireRecord, OfNewObjectsHasTheDocumentedOffsets) {
    COMPARE(MSG_NEW_OBJ_EVENT_S, 8, FIELD(MSG_NEW_OBJ_EVENT_S, size, 0, 4),
            FIELD(MSG_NEW_OBJ_EVENT_S, position, 4, 4), TAIL(MSG_NEW_OBJ_EVENT_S, data, 8));
}

TEST(WireRecord, OfRemovedObjectsIsAPosition) {
    COMPARE(MSG_DEL_RU_EVENT_S, 4, FIELD(MSG_DEL_RU_EVENT_S, position, 0, 4));
}

TEST(ValueRecord, HasItsFieldsInOrder) {
    COMPARE(TLV_S, on(16, 24), FIELD(TLV_S, type, 0, 6), FIELD(TLV_S, size, 8, 4),
            FIELD(TLV_S, data, on(12, 16), kPointer));
    COMPARE(CONST_TLV_S, on(16, 24), FIELD(CONST_TLV_S, type, 0, 6), FIELD(CONST_TLV_S, size, 8, 4),
            FIELD(CONST_TLV_S, data, on(12, 16), kPointer));
}

TEST(ObjectRecord, HasItsFieldsInOrder) {
    COMPARE(OBJECT_HEAD_S, on(80, 136), FIELD(OBJECT_HEAD_S, object_name, 0, kPointer),
            FIELD(OBJECT_HEAD_S, class_name, on(4, 8), kPointer),
            FIELD(OBJECT_HEAD_S, mutex_obj_name, on(8, 16), kPointer),
            FIELD(OBJECT_HEAD_S, ref_bitmap, on(12, 24), kPointer),
            FIELD(OBJECT_HEAD_S, type, on(16, 32), 4),
            FIELD(OBJECT_HEAD_S, module, on(20, 40), kPointer),
            FIELD(OBJECT_HEAD_S, position, on(24, 48), 4),
            FIELD(OBJECT_HEAD_S, sem_index, on(28, 52), 4),
            FIELD(OBJECT_HEAD_S, semid, on(32, 56), 4),
            FIELD(OBJECT_HEAD_S, sem_member, on(36, 60), 4),
            FIELD(OBJECT_HEAD_S, property_count, on(40, 64), 4),
            FIELD(OBJECT_HEAD_S, property_entry, on(44, 72), kPointer),
            FIELD(OBJECT_HEAD_S, name_list, on(48, 80), kPointer),
            FIELD(OBJECT_HEAD_S, refered_object, on(52, 88), kPointer),
            FIELD(OBJECT_HEAD_S, ref_count, on(56, 96), 4),
            FIELD(OBJECT_HEAD_S, status, on(60, 100), 4),
            FIELD(OBJECT_HEAD_S, capability, on(64, 104), 4),
            FIELD(OBJECT_HEAD_S, user_data, on(68, 112), kPointer),
            FIELD(OBJECT_HEAD_S, destroy_func, on(72, 120), kPointer),
            FIELD(OBJECT_HEAD_S, property_hash, on(76, 128), kPointer));
}

TEST(PropertyRecord, HasItsFieldsInOrder) {
    COMPARE(SERIALISED_PROPERTY_S, on(72, 96), FIELD(SERIALISED_PROPERTY_S, name, 0, 32),
            FIELD(SERIALISED_PROPERTY_S, type, 32, 6),
            FIELD(SERIALISED_PROPERTY_S, accessor, 40, kPointer),
            FIELD(SERIALISED_PROPERTY_S, state, on(44, 48), 4),
            FIELD(SERIALISED_PROPERTY_S, size, on(48, 56), kPointer),
            FIELD(SERIALISED_PROPERTY_S, capacity, on(52, 64), kPointer),
            FIELD(SERIALISED_PROPERTY_S, next_ptr, on(56, 72), kPointer),
            FIELD(SERIALISED_PROPERTY_S, data, on(60, 80), kPointer),
            FIELD(SERIALISED_PROPERTY_S, data_hold, on(64, 88), 8));
    COMPARE(LOCAL_PROPERTY_S, on(12, 16), FIELD(LOCAL_PROPERTY_S, property_ptr, 0, kPointer),
            FIELD(LOCAL_PROPERTY_S, change_cnt, on(4, 8), 4),
            FIELD(LOCAL_PROPERTY_S, receive_cnt, on(8, 12), 4));
}

TEST(PropertyRecord, HoldsAFixedSizeValueAlignedForItsType) {
    EXPECT_EQ(offsetof(SERIALISED_PROPERTY_S, data_hold) % 8, 0U);
    EXPECT_EQ(sizeof(SERIALISED_PROPERTY_S) % 8, 0U);
}

// The word as it is when one bit was set through its name.
template <typename Set>
guint32 word_with(Set set) {
    PROPERTY_STATE_S state = {};
    set(state);
    return state.all;
}

TEST(PropertyState, CountsItsBitsFromTheLeastSignificant) {
    EXPECT_EQ(sizeof(PROPERTY_STATE_S), 4U);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.modified = 1; }), 1U << 0);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.static_saved = 1; }), 1U << 1);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.override = 1; }), 1U << 2);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.synced = 1; }), 1U << 3);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.acc_r = 1; }), 1U << 4);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.acc_w = 1; }), 1U << 5);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.acc_sync = 1; }), 1U << 6);
    EXPECT_EQ(word_with([](PROPERTY_STATE_S& state) { state.bit.reserved = (1U << 25) - 1; }),
              0xFFFFFF80U);
}

TEST(NameRecord, HasItsFieldsInOrder) {
    COMPARE(CLASS_OBJECT_LIST_S, on(12, 24), FIELD(CLASS_OBJECT_LIST_S, class_name, 0, kPointer),
            FIELD(CLASS_OBJECT_LIST_S, object_name, on(4, 8), kPointer),
            FIELD(CLASS_OBJECT_LIST_S, next, on(8, 16), kPointer));
}

TEST(ClassRecord, HasItsFieldsInOrder) {
    COMPARE(SHARE_CLASS_DATA_S, on(16, 32), FIELD(SHARE_CLASS_DATA_S, class_name, 0, kPointer),
            FIELD(SHARE_CLASS_DATA_S, parent, on(4, 8), kPointer),
            FIELD(SHARE_CLASS_DATA_S, next, on(8, 16), kPointer),
            FIELD(SHARE_CLASS_DATA_S, listener_array, on(12, 24), kPointer));
    COMPARE(PRIVATE_CLASS_DATA_S, on(20, 32), FIELD(PRIVATE_CLASS_DATA_S, state, 0, 4),
            FIELD(PRIVATE_CLASS_DATA_S, collection_object, 4, 4),
            FIELD(PRIVATE_CLASS_DATA_S, owned_module, 8, kPointer),
            FIELD(PRIVATE_CLASS_DATA_S, object_list, on(12, 16), kPointer),
            FIELD(PRIVATE_CLASS_DATA_S, new_object_list, on(16, 24), kPointer));
    COMPARE(MODULE_CLASS_NODE_S, on(8, 16), FIELD(MODULE_CLASS_NODE_S, share, 0, kPointer),
            FIELD(MODULE_CLASS_NODE_S, priv, on(4, 8), kPointer));
}

TEST(ListenerRecord, HasItsFieldsInOrder) {
    COMPARE(SERIALIZED_LISTENER_LIST_S, on(12, 24),
            FIELD(SERIALIZED_LISTENER_LIST_S, property_name, 0, kPointer),
            FIELD(SERIALIZED_LISTENER_LIST_S, listener_array, on(4, 8), kPointer),
            FIELD(SERIALIZED_LISTENER_LIST_S, next, on(8, 16), kPointer));
    COMPARE(LISTENER_ARRAY_HEAD_S, 4, FIELD(LISTENER_ARRAY_HEAD_S, count, 0, 1),
            TAIL(LISTENER_ARRAY_HEAD_S, ipc_port, 4));
}

TEST(SchemaRecord, HasItsFieldsInOrder) {
    COMPARE(DEFINED_CLASS_NODE_S, on(24, 48), FIELD(DEFINED_CLASS_NODE_S, name, 0, kPointer),
            FIELD(DEFINED_CLASS_NODE_S, id, kPointer, 2),
            FIELD(DEFINED_CLASS_NODE_S, property_array, on(8, 16), kPointer),
            FIELD(DEFINED_CLASS_NODE_S, method_array, on(12, 24), kPointer),
            FIELD(DEFINED_CLASS_NODE_S, children, on(16, 32), kPointer),
            FIELD(DEFINED_CLASS_NODE_S, next, on(20, 40), kPointer));
    COMPARE(DEFINED_PROPERTY_NODE_S, on(16, 24), FIELD(DEFINED_PROPERTY_NODE_S, name, 0, kPointer),
            FIELD(DEFINED_PROPERTY_NODE_S, type, kPointer, 6),
            FIELD(DEFINED_PROPERTY_NODE_S, id, on(10, 14), 2),
            FIELD(DEFINED_PROPERTY_NODE_S, exported, on(12, 16), 1),
            FIELD(DEFINED_PROPERTY_NODE_S, key, on(13, 17), 1));
    COMPARE(DEFINED_METHOD_NODE_S, on(20, 40), FIELD(DEFINED_METHOD_NODE_S, name, 0, kPointer),
            FIELD(DEFINED_METHOD_NODE_S, id, kPointer, 2),
            FIELD(DEFINED_METHOD_NODE_S, para, on(8, 16), 2 * kPointer),
            FIELD(DEFINED_METHOD_NODE_S, property_arr, on(16, 32), kPointer));
    COMPARE(METHOD_PROPERTY_NODE_S, on(20, 32), FIELD(METHOD_PROPERTY_NODE_S, name, 0, kPointer),
            FIELD(METHOD_PROPERTY_NODE_S, type, kPointer, 6),
            FIELD(METHOD_PROPERTY_NODE_S, size, on(12, 16), kPointer),
            FIELD(METHOD_PROPERTY_NODE_S, data, on(16, 24), kPointer));
    COMPARE(DEFINED_METHOD_PARA_NODE_S, 6, FIELD(DEFINED_METHOD_PARA_NODE_S, type, 0, 6));
}

TEST(SchemaArray, HasItsElementsDirectlyBehindItsCount) {
    COMPARE(DEFINED_CLASS_ARRAY_S, kPointer, FIELD(DEFINED_CLASS_ARRAY_S, size, 0, kPointer),
            TAIL(DEFINED_CLASS_ARRAY_S, classes, kPointer));
    COMPARE(DEFINED_PROPERTY_ARRAY_S, kPointer, FIELD(DEFINED_PROPERTY_ARRAY_S, size, 0, kPointer),
            TAIL(DEFINED_PROPERTY_ARRAY_S, property, kPointer));
    COMPARE(DEFINED_METHOD_ARRAY_S, kPointer, FIELD(DEFINED_METHOD_ARRAY_S, size, 0, kPointer),
            TAIL(DEFINED_METHOD_ARRAY_S, method, kPointer));
    COMPARE(DEFINED_METHOD_PARA_ARRAY_S, kPointer,
            FIELD(DEFINED_METHOD_PARA_ARRAY_S, size, 0, kPointer),
            TAIL(DEFINED_METHOD_PARA_ARRAY_S, para, kPointer));
    COMPARE(METHOD_PROPERTY_ARRAY_S, kPointer, FIELD(METHOD_PROPERTY_ARRAY_S, count, 0, kPointer),
            TAIL(METHOD_PROPERTY_ARRAY_S, property, kPointer));
    EXPECT_EQ((std::vector<int>{INPUT_PARA, OUTPUT_PARA}), (std::vector<int>{0, 1}));
}

TEST(RouteRecord, HasItsFieldsInOrder) {
    COMPARE(ROUTE_TARGET_S, 8, FIELD(ROUTE_TARGET_S, rpc_port, 0, 4),
            FIELD(ROUTE_TARGET_S, msg_que_id, 4, 4));
    COMPARE(ROUTE_S, 40, FIELD(ROUTE_S, target_name, 0, 32), FIELD(ROUTE_S, target, 32, 8));
}

TEST(ModuleRecord, HasItsFieldsInOrder) {
    COMPARE(MODULE_REG_INFO_S, on(56, 64), FIELD(MODULE_REG_INFO_S, module_id, 0, 4),
            FIELD(MODULE_REG_INFO_S, pid, 4, 4), FIELD(MODULE_REG_INFO_S, rpc_port, 8, 4),
            FIELD(MODULE_REG_INFO_S, msg_que_id, 12, 4), FIELD(MODULE_REG_INFO_S, sync_sem, 16, 4),
            FIELD(MODULE_REG_INFO_S, share_class_base, on(20, 24), kPointer),
            FIELD(MODULE_REG_INFO_S, module_name, on(24, 32), 32));
}

TEST(PlatformRecord, HasItsFieldsInOrder) {
    COMPARE(shm_malloc_info, 40, FIELD(shm_malloc_info, arena, 0, 4),
            FIELD(shm_malloc_info, ordblks, 4, 4), FIELD(shm_malloc_info, smblks, 8, 4),
            FIELD(shm_malloc_info, hblks, 12, 4), FIELD(shm_malloc_info, hblkhd, 16, 4),
            FIELD(shm_malloc_info, usmblks, 20, 4), FIELD(shm_malloc_info, fsmblks, 24, 4),
            FIELD(shm_malloc_info, uordblks, 28, 4), FIELD(shm_malloc_info, fordblks, 32, 4),
            FIELD(shm_malloc_info, keepcost, 36, 4));
    COMPARE(OBJ_PROPERTY_S, on(8, 16), FIELD(OBJ_PROPERTY_S, name, 0, kPointer),
            FIELD(OBJ_PROPERTY_S, value, on(4, 8), kPointer));
    COMPARE(CFG_READ_S, on(12, 24), FIELD(CFG_READ_S, type, 0, kPointer),
            FIELD(CFG_READ_S, size, on(4, 8), 4), FIELD(CFG_READ_S, data_out, on(8, 16), kPointer));
}

TEST(Handle, IsAPlain32BitNumberOrAPointer) {
    static_assert(std::is_same_v<OBJ_HANDLE, gint32>);
    static_assert(std::is_pointer_v<OBJECT_PTR> && std::is_pointer_v<MDL_HANDLE> &&
                  std::is_pointer_v<CLS_HANDLE>);
    EXPECT_EQ(sizeof(OBJECT_TYPE), 4U);
}

TEST(ObjectEnumeration, HasTheEstablishedNumbers) {
    EXPECT_EQ((std::vector<int>{OBJECT_TYPE_LOGICAL, OBJECT_TYPE_PHYSICAL}),
              (std::vector<int>{0, 1}));
    EXPECT_EQ((std::vector<int>{OBJECT_NORMAL, OBJECT_MXD_READY, OBJECT_MARK_DEL}),
              (std::vector<int>{0, 1, 2}));
    EXPECT_EQ((std::vector<int>{OBJECT_READ_ONLY, OBJECT_READ_WRITE}), (std::vector<int>{0, 1}));
    EXPECT_EQ((std::vector<int>{MODULE_APP, MODULE_SERVICE, MODULE_INTERFACE}),
              (std::vector<int>{0, 1, 2}));
}

TEST(StatusCode, HasTheEstablishedNumber) {
    EXPECT_EQ(
        (std::vector<int>{MOX_OK, MOX_ERR_INTERNAL, MOX_ERR_BAD_ARGUMENT, MOX_ERR_CLASS_NOT_FOUND,
                          MOX_ERR_METHOD_NOT_FOUND, MOX_ERR_OBJECT_NOT_FOUND,
                          MOX_ERR_PROPERTY_NOT_FOUND, MOX_ERR_NO_ACCESSOR, MOX_ERR_TYPE_MISMATCH,
                          MOX_ERR_TYPE_NOT_SUPPORTED, MOX_ERR_NOT_PERMITTED, MOX_ERR_SEMAPHORE,
                          MOX_ERR_MESSAGE_TOO_BIG, MOX_ERR_NO_PORT, MOX_ERR_OVERRIDDEN}),
        (std::vector<int>{0, -2000, -2001, -2003, -2005, -2009, -2010, -2011, -2012, -2013, -2014,
                          -2015, -2016, -2018, -2019}));
}

}  // namespace
