// What the operator's calls carry, in the order of the fields of moxhost/operator.h.
#ifndef MOXHOST_WIRE_OPERATOR_TYPES_HPP
#define MOXHOST_WIRE_OPERATOR_TYPES_HPP

namespace mox::host::wire {

enum class SourceKind { memory, hardware, property, formula };

inline constexpr const char* object_info = "(ssssuuuub)";
inline constexpr const char* object_infos = "a(ssssuuuub)";
inline constexpr const char* object_infos_reply = "(a(ssssuuuub))";

inline constexpr const char* class_info = "(sssuuu)";
inline constexpr const char* class_infos = "a(sssuuu)";
inline constexpr const char* class_infos_reply = "(a(sssuuu))";

inline constexpr const char* property_info = "(ssisuuui@ast)";
inline constexpr const char* property_infos = "a(ssisuuuiast)";
inline constexpr const char* property_infos_reply = "(a(ssisuuuiast))";

inline constexpr const char* module_info = "(siiiixuuutttt)";
inline constexpr const char* module_infos = "a(siiiixuuutttt)";
inline constexpr const char* module_infos_reply = "(a(siiiixuuutttt))";

inline constexpr const char* lock_info = "(siiiib@ai)";
inline constexpr const char* lock_infos = "a(siiiibai)";
inline constexpr const char* lock_infos_reply = "(a(siiiibai))";

inline constexpr const char* pool_info_reply = "(ttttttt)";

}  // namespace mox::host::wire

#endif
