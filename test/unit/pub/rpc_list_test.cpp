// Lists of values, bytes and type strings to and from lists of RPC records.
#include <gtest/gtest.h>
#include <pub.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "captured_output.hpp"

namespace {

// A list whose elements and nodes are freed at scope end.
struct FreeElements {
    void operator()(GSList* list) const { g_slist_free_full(list, g_free); }
};
struct FreeNodes {
    void operator()(GSList* list) const { g_slist_free(list); }
};
struct UnrefValues {
    void operator()(GSList* list) const {
        g_slist_free_full(list,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
    }
};
using RecordList = std::unique_ptr<GSList, FreeElements>;
using BorrowingList = std::unique_ptr<GSList, FreeNodes>;
using ValueList = std::unique_ptr<GSList, UnrefValues>;
using RecordPtr = std::unique_ptr<RPC_DATA_S, decltype(&g_free)>;

RecordPtr owned(RPC_DATA_S* record) {
    return {record, g_free};
}

const RPC_DATA_S* record_at(const RecordList& list, guint index) {
    return static_cast<const RPC_DATA_S*>(g_slist_nth_data(list.get(), index));
}

std::string bytes_of(const RPC_DATA_S* record) {
    return {reinterpret_cast<const char*>(record->data), record->size};
}

// A list of the values that these texts describe.
ValueList values(const std::vector<const char*>& texts) {
    GSList* list = nullptr;
    for (const char* text : texts) {
        list = g_slist_append(list, g_variant_ref_sink(g_variant_new_parsed(text)));
    }
    return ValueList(list);
}

BorrowingList pointers(const std::vector<const void*>& elements) {
    GSList* list = nullptr;
    for (const void* element : elements) list = g_slist_append(list, const_cast<gpointer>(element));
    return BorrowingList(list);
}

std::vector<std::string> printed(GSList* list) {
    std::vector<std::string> result;
    for (const GSList* item = list; item != nullptr; item = item->next) {
        gchar* text = g_variant_print(static_cast<GVariant*>(item->data), TRUE);
        result.emplace_back(text);
        g_free(text);
    }
    return result;
}

using Texts = std::vector<std::string>;

TEST(DataRecord, HoldsTypeSizeAndBytes) {
    const RecordPtr record = owned(pub_data_to_rpc(3, "ay", "abc"));
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->type, "ay");
    EXPECT_EQ(record->size, 3U);
    EXPECT_EQ(bytes_of(record.get()), "abc");
    EXPECT_EQ(record->padding[0], 0);
    EXPECT_EQ(record->padding[1], 0);
}

TEST(DataRecord, WithoutATypeHasAnEmptyOne) {
    const RecordPtr record = owned(pub_data_to_rpc(1, nullptr, "x"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(std::string(record->type, PUB_TYPE_LENGTH), std::string(PUB_TYPE_LENGTH, '\0'));
}

TEST(DataRecord, CutsASixCharacterTypeToFive) {
    const RecordPtr record = owned(pub_data_to_rpc(1, "abcdef", "x"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(std::string(record->type, PUB_TYPE_LENGTH), std::string("abcde\0", PUB_TYPE_LENGTH));
}

TEST(DataRecord, IsNotMadeWithoutData) {
    EXPECT_EQ(pub_data_to_rpc(4, "i", nullptr), nullptr);
    EXPECT_EQ(pub_data_to_rpc(0, "i", "x"), nullptr);
}

TEST(DataRecords, OfAListComeInReverseOrder) {
    GList* list = nullptr;
    for (const char* element : {"A", "B", "C"})
        list = g_list_append(list, const_cast<char*>(element));
    const RecordList records(pub_list_data_to_rpcslist(list, 2));
    g_list_free(list);
    ASSERT_EQ(g_slist_length(records.get()), 3U);
    EXPECT_STREQ(reinterpret_cast<const char*>(record_at(records, 0)->data), "C");
    EXPECT_STREQ(reinterpret_cast<const char*>(record_at(records, 1)->data), "B");
    EXPECT_STREQ(reinterpret_cast<const char*>(record_at(records, 2)->data), "A");
    EXPECT_EQ(record_at(records, 0)->size, 2U);
    EXPECT_STREQ(record_at(records, 0)->type, "");
}

TEST(DataRecords, OfAListKeepANullEntryForAnElementWithoutData) {
    GList* list = nullptr;
    list = g_list_append(list, const_cast<char*>("A"));
    list = g_list_append(list, nullptr);
    const RecordList records(pub_list_data_to_rpcslist(list, 2));
    g_list_free(list);
    ASSERT_EQ(g_slist_length(records.get()), 2U);
    EXPECT_EQ(record_at(records, 0), nullptr);
    EXPECT_NE(record_at(records, 1), nullptr);
}

TEST(DataRecords, OfAnEmptyListAreNone) {
    EXPECT_EQ(pub_list_data_to_rpcslist(nullptr, 2), nullptr);
    EXPECT_EQ(pub_slist_data_to_rpc(nullptr, 2), nullptr);
}

TEST(DataRecords, OfASinglyLinkedListComeInReverseOrder) {
    const BorrowingList list = pointers({"A", "B", "C"});
    const RecordList records(pub_slist_data_to_rpc(list.get(), 2));
    ASSERT_EQ(g_slist_length(records.get()), 3U);
    EXPECT_EQ(bytes_of(record_at(records, 0)), std::string("C\0", 2));
    EXPECT_EQ(bytes_of(record_at(records, 1)), std::string("B\0", 2));
    EXPECT_EQ(bytes_of(record_at(records, 2)), std::string("A\0", 2));
    EXPECT_STREQ(record_at(records, 0)->type, "");
}

TEST(DataRecords, OfASinglyLinkedListKeepAndLogARecordWhoseCopyFailed) {
    mox::test::CapturedSyslog log;
    const BorrowingList list = pointers({nullptr});
    const RecordList records(pub_slist_data_to_rpc(list.get(), 4));
    ASSERT_EQ(g_slist_length(records.get()), 1U);
    EXPECT_EQ(bytes_of(record_at(records, 0)), std::string(4, '\0'));
    ASSERT_EQ(log.lines().size(), 1U);
    const std::string text = log.lines()[0].text;
    EXPECT_NE(text.find("[pub]["), std::string::npos) << text;
    EXPECT_NE(text.find("]:memmove_s failed ret(22).\n"), std::string::npos) << text;
}

TEST(DataRecords, OfASinglyLinkedListMayBeEmpty) {
    const BorrowingList list = pointers({"A"});
    const RecordList records(pub_slist_data_to_rpc(list.get(), 0));
    ASSERT_EQ(g_slist_length(records.get()), 1U);
    EXPECT_EQ(record_at(records, 0)->size, 0U);
}

TEST(ValueRecords, HoldTypeSizeAndSerializedValueInTheListsOrder) {
    const ValueList list = values({"-2", "'ab'", "byte 0x07"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    ASSERT_EQ(g_slist_length(records.get()), 3U);
    gint32 number = 0;
    ASSERT_EQ(record_at(records, 0)->size, 4U);
    std::memcpy(&number, record_at(records, 0)->data, 4);
    EXPECT_STREQ(record_at(records, 0)->type, "i");
    EXPECT_EQ(number, -2);
    EXPECT_STREQ(record_at(records, 1)->type, "s");
    EXPECT_EQ(bytes_of(record_at(records, 1)), std::string("ab\0", 3));
    EXPECT_STREQ(record_at(records, 2)->type, "y");
    EXPECT_EQ(bytes_of(record_at(records, 2)), "\x07");
}

TEST(ValueRecords, CutALongTypeStringToFiveCharacters) {
    const ValueList list = values({"@a{s(ii)} {}"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    ASSERT_EQ(g_slist_length(records.get()), 1U);
    EXPECT_EQ(std::string(record_at(records, 0)->type, PUB_TYPE_LENGTH),
              std::string("a{s(i\0", PUB_TYPE_LENGTH));
}

TEST(ValueRecords, HoldAnEmptyArrayInNoBytes) {
    const ValueList list = values({"@as []"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    ASSERT_EQ(g_slist_length(records.get()), 1U);
    EXPECT_EQ(record_at(records, 0)->size, 0U);
}

// A record's data lies at offset 12, where these types have no alignment of their own.
TEST(ValueRecords, HoldValuesThatWantAnAlignmentOfEight) {
    const ValueList list = values({"2.5", "[1.5, 2.5]", "[<1.5>, <'x'>]"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    const ValueList back(pub_slist_rpc_to_varaint(records.get()));
    EXPECT_EQ(printed(back.get()), (Texts{"2.5", "[1.5, 2.5]", "[<1.5>, <'x'>]"}));
}

TEST(ValueRecords, OfNoListAreNone) {
    EXPECT_EQ(pub_slist_varaint_to_rpc(nullptr), nullptr);
}

TEST(ValueRecords, LeaveTheValuesToTheCaller) {
    const ValueList list = values({"'kept'"});
    { const RecordList records(pub_slist_varaint_to_rpc(list.get())); }
    EXPECT_EQ(printed(list.get()), Texts{"'kept'"});
}

TEST(TypeRecords, HoldTheTypeStringInSixBytesOfTypeS) {
    const BorrowingList list = pointers({"i", "as"});
    const RecordList records(pub_slist_vartype_to_rpc(list.get()));
    ASSERT_EQ(g_slist_length(records.get()), 2U);
    EXPECT_STREQ(record_at(records, 0)->type, "s");
    EXPECT_EQ(bytes_of(record_at(records, 0)), std::string("i\0\0\0\0\0", 6));
    EXPECT_EQ(bytes_of(record_at(records, 1)), std::string("as\0\0\0\0", 6));
}

TEST(TypeRecords, CutASixCharacterTypeToFive) {
    const BorrowingList list = pointers({"abcdef"});
    const RecordList records(pub_slist_vartype_to_rpc(list.get()));
    ASSERT_EQ(g_slist_length(records.get()), 1U);
    EXPECT_EQ(bytes_of(record_at(records, 0)), std::string("abcde\0", 6));
}

TEST(TypeRecords, OfNoListAreNone) {
    EXPECT_EQ(pub_slist_vartype_to_rpc(nullptr), nullptr);
}

TEST(ValuesOfRecords, AreTheSerializedOnesInTheListsOrder) {
    const ValueList list = values({"true", "int16 -3", "'x'", "['a', 'b']"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    const ValueList back(pub_slist_rpc_to_varaint(records.get()));
    EXPECT_EQ(printed(back.get()), (Texts{"true", "int16 -3", "'x'", "['a', 'b']"}));
}

// Receivers sink what they keep, or hand it on to a container that does.
TEST(ValuesOfRecords, AreFloating) {
    const ValueList list = values({"1"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    const ValueList back(pub_slist_rpc_to_varaint(records.get()));
    ASSERT_EQ(g_slist_length(back.get()), 1U);
    EXPECT_TRUE(g_variant_is_floating(static_cast<GVariant*>(back->data)));
}

TEST(ValuesOfRecords, AreIndependentOfTheRecords) {
    const ValueList list = values({"'x'"});
    ValueList back;
    {
        const RecordList records(pub_slist_varaint_to_rpc(list.get()));
        back.reset(pub_slist_rpc_to_varaint(records.get()));
    }
    EXPECT_EQ(printed(back.get()), Texts{"'x'"});
}

TEST(ValuesOfRecords, SkipARecordOfSizeZeroWithoutAWord) {
    const ValueList list = values({"1", "@as []", "3"});
    const RecordList records(pub_slist_varaint_to_rpc(list.get()));
    mox::test::CapturedSyslog log;
    const ValueList back(pub_slist_rpc_to_varaint(records.get()));
    EXPECT_EQ(printed(back.get()), (Texts{"1", "3"}));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(ValuesOfRecords, SkipARecordWhoseTypeIsNone) {
    const RecordPtr nonsense = owned(pub_data_to_rpc(4, "?!", "xxxx"));
    const RecordPtr empty = owned(pub_data_to_rpc(4, nullptr, "xxxx"));
    const RecordPtr unterminated = owned(pub_data_to_rpc(4, "i", "xxxx"));
    std::memset(unterminated->type, 'a', PUB_TYPE_LENGTH);
    const BorrowingList list = pointers({nonsense.get(), empty.get(), unterminated.get()});
    EXPECT_EQ(pub_slist_rpc_to_varaint(list.get()), nullptr);
}

TEST(ValuesOfRecords, OfATextWithoutItsTerminatorAreNotReadPastTheirEnd) {
    const RecordPtr record = owned(pub_data_to_rpc(4, "s", "xxxx"));
    const BorrowingList list = pointers({record.get()});
    const ValueList back(pub_slist_rpc_to_varaint(list.get()));
    EXPECT_EQ(printed(back.get()), Texts{"''"});
}

TEST(ValuesOfRecords, OfNoListAreNone) {
    EXPECT_EQ(pub_slist_rpc_to_varaint(nullptr), nullptr);
}

TEST(DataOfRecords, AreCopiesOfTheBytesInTheListsOrder) {
    const RecordPtr first = owned(pub_data_to_rpc(2, nullptr, "A"));
    const RecordPtr second = owned(pub_data_to_rpc(2, nullptr, "B"));
    const BorrowingList list = pointers({first.get(), second.get()});
    const RecordList copies(pub_slist_rpc_to_data(list.get()));
    ASSERT_EQ(g_slist_length(copies.get()), 2U);
    EXPECT_STREQ(static_cast<const char*>(g_slist_nth_data(copies.get(), 0)), "A");
    EXPECT_STREQ(static_cast<const char*>(g_slist_nth_data(copies.get(), 1)), "B");
    EXPECT_NE(g_slist_nth_data(copies.get(), 0), static_cast<void*>(first->data));
}

TEST(DataOfRecords, SkipARecordOfSizeZero) {
    const RecordPtr full = owned(pub_data_to_rpc(2, nullptr, "A"));
    std::array<guint32, 3> empty{};
    const BorrowingList list = pointers({empty.data(), full.get(), empty.data()});
    const RecordList copies(pub_slist_rpc_to_data(list.get()));
    ASSERT_EQ(g_slist_length(copies.get()), 1U);
    EXPECT_STREQ(static_cast<const char*>(copies->data), "A");
}

TEST(DataOfRecords, AsStringsAreTheSame) {
    const RecordPtr text = owned(pub_data_to_rpc(6, "s", "hello"));
    const BorrowingList list = pointers({text.get()});
    const RecordList copies(pub_slist_rpc_to_string(list.get()));
    ASSERT_EQ(g_slist_length(copies.get()), 1U);
    EXPECT_STREQ(static_cast<const char*>(copies->data), "hello");
}

TEST(DataOfRecords, OfNoListAreNone) {
    EXPECT_EQ(pub_slist_rpc_to_data(nullptr), nullptr);
    EXPECT_EQ(pub_slist_rpc_to_string(nullptr), nullptr);
}

TEST(StringComparison, OrdersAsBytesAndNullFirst) {
    EXPECT_EQ(pub_slist_str_data_compare("a", "a"), 0);
    EXPECT_LT(pub_slist_str_data_compare("a", "b"), 0);
    EXPECT_GT(pub_slist_str_data_compare("b", "a"), 0);
    EXPECT_EQ(pub_slist_str_data_compare(nullptr, nullptr), 0);
    EXPECT_LT(pub_slist_str_data_compare(nullptr, "a"), 0);
}

TEST(StringComparison, FindsAStringInAList) {
    const BorrowingList list = pointers({"a", "b", "c"});
    const std::string wanted = "b";
    GSList* found = g_slist_find_custom(list.get(), wanted.c_str(), pub_slist_str_data_compare);
    EXPECT_EQ(found, list->next);
}

TEST(NodeParent, IsTheNodesParent) {
    GNode* root = g_node_new(nullptr);
    GNode* child = g_node_append_data(root, nullptr);
    EXPECT_EQ(pub_gnode_get_parent(child), root);
    EXPECT_EQ(pub_gnode_get_parent(root), nullptr);
    g_node_destroy(root);
}

TEST(NodeParent, OfNullIsNull) {
    EXPECT_EQ(pub_gnode_get_parent(nullptr), nullptr);
}

}  // namespace
