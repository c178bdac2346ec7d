// Type strings: their classification and their form in the configuration store.
#include <gtest/gtest.h>
#include <pub.h>

#include <array>
#include <cstring>
#include <string>

#include "captured_output.hpp"

namespace {

using TypeField = std::array<gchar, PUB_TYPE_LENGTH>;

// A type field of exactly these bytes, the rest zero.
TypeField field(const std::string& bytes) {
    TypeField result{};
    std::memcpy(result.data(), bytes.data(), bytes.size());
    return result;
}

// Six bytes that a test can tell from written ones.
TypeField untouched() {
    return field("######");
}

TypeField serialized(const TypeField& in) {
    TypeField out = untouched();
    pub_serialize_type(in.data(), out.data(), PUB_TYPE_LENGTH);
    return out;
}

TypeField unserialized(const TypeField& in) {
    TypeField out = untouched();
    pub_unserialize_type(in.data(), out.data(), PUB_TYPE_LENGTH);
    return out;
}

const std::string kNul(1, '\0');

TEST(TypeString, NamesAFixedSizeScalarByItsFirstCharacter) {
    for (const char* type : {"b", "d", "i", "n", "q", "u", "y"}) {
        EXPECT_EQ(pub_str_type_check(type), GVARIANT_FIX) << type;
    }
}

TEST(TypeString, OfAStringOrAnArrayIsDynamic) {
    for (const char* type : {"s", "as", "ab", "ai", "a{sv}", "av"}) {
        EXPECT_EQ(pub_str_type_check(type), GVARIANT_DYNAMIC) << type;
    }
}

TEST(TypeString, OfA64BitIntegerIsNotSupported) {
    EXPECT_EQ(pub_str_type_check("x"), GVARIANT_NOT_SUPPORT);
    EXPECT_EQ(pub_str_type_check("t"), GVARIANT_NOT_SUPPORT);
}

TEST(TypeString, OfAnyOtherTypeIsNotSupported) {
    for (const char* type : {"h", "o", "g", "v", "(i)", "{sv}", "mi", "r", "B", "1", " i"}) {
        EXPECT_EQ(pub_str_type_check(type), GVARIANT_NOT_SUPPORT) << type;
    }
}

TEST(TypeString, ThatIsEmptyOrNullIsNotSupported) {
    EXPECT_EQ(pub_str_type_check(""), GVARIANT_NOT_SUPPORT);
    EXPECT_EQ(pub_str_type_check(nullptr), GVARIANT_NOT_SUPPORT);
}

TEST(TypeString, CountsOnlyWithItsFirstCharacter) {
    EXPECT_EQ(pub_str_type_check("ix"), GVARIANT_FIX);
    EXPECT_EQ(pub_str_type_check("xi"), GVARIANT_NOT_SUPPORT);
}

TEST(TypeString, OfAValueIsClassifiedAsItsTypeString) {
    GVariant* number = g_variant_ref_sink(g_variant_new_int32(1));
    GVariant* text = g_variant_ref_sink(g_variant_new_string("x"));
    GVariant* wide = g_variant_ref_sink(g_variant_new_int64(1));
    EXPECT_EQ(pub_gvariant_type_check(number), GVARIANT_FIX);
    EXPECT_EQ(pub_gvariant_type_check(text), GVARIANT_DYNAMIC);
    EXPECT_EQ(pub_gvariant_type_check(wide), GVARIANT_NOT_SUPPORT);
    EXPECT_EQ(pub_gvariant_type_check(nullptr), GVARIANT_NOT_SUPPORT);
    g_variant_unref(number);
    g_variant_unref(text);
    g_variant_unref(wide);
}

TEST(TypeClassification, HasTheEstablishedNumbers) {
    EXPECT_EQ(static_cast<int>(GVARIANT_FIX), 0);
    EXPECT_EQ(static_cast<int>(GVARIANT_DYNAMIC), 1);
    EXPECT_EQ(static_cast<int>(GVARIANT_NOT_SUPPORT), 2);
}

TEST(PersistedType, OfAnUnmarkedTypeIsThatTypeWithAllSixBytes) {
    EXPECT_EQ(serialized(field("i")), field("i"));
    EXPECT_EQ(serialized(field("as")), field("as"));
    EXPECT_EQ(serialized(field("abcxef")), field("abcxef"));
}

TEST(PersistedType, OfAReferenceStringIsRp) {
    EXPECT_EQ(serialized(field("s" + kNul + kNul + "p")), field("rp" + kNul + kNul + "##"));
}

TEST(PersistedType, OfAStringMarkedOIsRo) {
    EXPECT_EQ(serialized(field("s" + kNul + kNul + "o")), field("ro" + kNul + kNul + "##"));
}

TEST(PersistedType, OfAMarkedStringArrayEndsWithA) {
    EXPECT_EQ(serialized(field("as" + kNul + "p")), field("rpa" + kNul + "##"));
    EXPECT_EQ(serialized(field("as" + kNul + "o")), field("roa" + kNul + "##"));
}

TEST(PersistedType, IgnoresAnyOtherCharacterInTheMarkersPlace) {
    EXPECT_EQ(serialized(field("s" + kNul + kNul + "q")), field("s" + kNul + kNul + "q"));
}

TEST(PersistedType, IsNotWrittenForNullArguments) {
    TypeField out = untouched();
    const TypeField in = field("i");
    pub_serialize_type(nullptr, out.data(), PUB_TYPE_LENGTH);
    pub_serialize_type(in.data(), nullptr, PUB_TYPE_LENGTH);
    EXPECT_EQ(out, untouched());
}

TEST(PersistedType, ThatDoesNotFitIsLogged) {
    mox::test::CapturedSyslog log;
    TypeField out = untouched();
    pub_serialize_type(field("i").data(), out.data(), 5);
    ASSERT_EQ(log.lines().size(), 1U);
    const std::string text = log.lines()[0].text;
    EXPECT_NE(text.find("[pub]["), std::string::npos) << text;
    EXPECT_NE(text.find("]:memmove_s failed ret(34).\n"), std::string::npos) << text;
    EXPECT_EQ(out[5], '#');
    EXPECT_NE(out[0], 'i');
}

TEST(PersistedType, NeverPassesACapacityThatIsSmallerThanTheMarkedForm) {
    for (const gint32 length : {-1, 0, 1, 2, 3}) {
        mox::test::CapturedSyslog log;
        TypeField out = untouched();
        pub_serialize_type(field("as" + kNul + "p").data(), out.data(), length);
        for (std::size_t i = length < 0 ? 0U : static_cast<std::size_t>(length); i < out.size();
             ++i) {
            EXPECT_EQ(out[i], '#') << "capacity " << length << ", byte " << i;
        }
        EXPECT_TRUE(log.contains("]:memmove_s failed ret(34).\n")) << length;
    }
}

TEST(PersistedType, IsSilentWhenItFits) {
    mox::test::CapturedSyslog log;
    serialized(field("i"));
    serialized(field("s" + kNul + kNul + "p"));
    unserialized(field("i"));
    unserialized(field("rp"));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(RestoredType, OfRpIsAStringWithTheMarkerInByteThree) {
    EXPECT_EQ(unserialized(field("rp")), field("s" + kNul + kNul + "p##"));
}

TEST(RestoredType, OfAMarkedArrayIsAStringArrayWithTheMarkerInByteThree) {
    EXPECT_EQ(unserialized(field("roa")), field("as" + kNul + "o##"));
    EXPECT_EQ(unserialized(field("rpa")), field("as" + kNul + "p##"));
}

TEST(RestoredType, OfAnUnmarkedTypeIsThatTypeWithAllSixBytes) {
    EXPECT_EQ(unserialized(field("ai")), field("ai"));
    EXPECT_EQ(unserialized(field("abcdef")), field("abcdef"));
}

TEST(RestoredType, LeavesABufferOfFiveBytesUnchanged) {
    TypeField out = untouched();
    pub_unserialize_type(field("rp").data(), out.data(), 5);
    EXPECT_EQ(out, untouched());
    pub_unserialize_type(field("i").data(), out.data(), 5);
    EXPECT_EQ(out, untouched());
    pub_unserialize_type(field("i").data(), out.data(), 0);
    EXPECT_EQ(out, untouched());
}

TEST(RestoredType, IsNotWrittenForNullArguments) {
    TypeField out = untouched();
    pub_unserialize_type(nullptr, out.data(), PUB_TYPE_LENGTH);
    pub_unserialize_type(field("i").data(), nullptr, PUB_TYPE_LENGTH);
    EXPECT_EQ(out, untouched());
}

TEST(RestoredType, TouchesOnlySixBytesOfALongerBuffer) {
    std::array<gchar, 10> out{};
    out.fill('#');
    pub_unserialize_type(field("i").data(), out.data(), 10);
    EXPECT_EQ(std::string(out.data() + PUB_TYPE_LENGTH, 4), "####");
}

TEST(RestoredType, IsTheReverseOfThePersistedFormInItsFirstFourBytes) {
    for (const std::string& type :
         {"s" + kNul + kNul + "p", "s" + kNul + kNul + "o", "as" + kNul + "p", "as" + kNul + "o",
          std::string("i"), std::string("as")}) {
        const TypeField back = unserialized(serialized(field(type)));
        EXPECT_EQ(std::string(back.data(), 4), std::string(field(type).data(), 4)) << type;
    }
}

}  // namespace
