// A message as it left this process, read at the documented offsets, in no way through the records
// of the library.
#ifndef MOX_TEST_SENT_MESSAGE_HPP
#define MOX_TEST_SENT_MESSAGE_HPP

#include <moxfake/osal.h>

#include <cstring>
#include <string>
#include <vector>

namespace mox::test {

// The bytes of the n-th message that was sent; none when there were not so many.
inline std::vector<guint8> sent_bytes(std::size_t n) {
    const auto sent = mox::fake::osal::sent();
    return n < sent.size() ? sent[n].bytes : std::vector<guint8>{};
}

inline guint32 word_at(const std::vector<guint8>& bytes, std::size_t offset) {
    guint32 word = 0;
    if (offset + sizeof(word) > bytes.size()) return 0xEEEEEEEEU;
    std::memcpy(&word, bytes.data() + offset, sizeof(word));
    return word;
}

inline std::string bytes_at(const std::vector<guint8>& bytes, std::size_t offset,
                            std::size_t count) {
    if (offset + count > bytes.size()) return "(outside the message)";
    return {reinterpret_cast<const char*>(bytes.data()) + offset, count};
}

// The text of a field of this width, its terminator and the zeros behind it taken off.
inline std::string text_at(const std::vector<guint8>& bytes, std::size_t offset,
                           std::size_t width) {
    const std::string field = bytes_at(bytes, offset, width);
    return field.substr(0, field.find('\0'));
}

// The string array that a new-object message carries.
inline std::vector<std::string> names_of(const std::vector<guint8>& bytes) {
    const guint32 size = word_at(bytes, 76);
    if (bytes.size() < 84U || size > bytes.size() - 84U) return {"(outside the message)"};
    GVariant* array = g_variant_ref_sink(g_variant_new_from_data(
        G_VARIANT_TYPE("as"), bytes.data() + 84, size, FALSE, nullptr, nullptr));
    std::vector<std::string> names;
    const gchar** strings = g_variant_get_strv(array, nullptr);
    for (const gchar** each = strings; *each != nullptr; ++each) names.emplace_back(*each);
    g_free(strings);
    g_variant_unref(array);
    return names;
}

// A list of queue ids, as the functions under test take it; freed with g_slist_free.
inline GSList* port_list(const std::vector<gint32>& ports) {
    GSList* list = nullptr;
    for (const gint32 port : ports) list = g_slist_append(list, GINT_TO_POINTER(port));
    return list;
}

}  // namespace mox::test

#endif
