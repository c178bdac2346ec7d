// Internal view of reading a property: the sources of a value, in the order in which they are
// asked.
#ifndef MOX_LOM_PROPERTY_HPP
#define MOX_LOM_PROPERTY_HPP

#include <lom/object.h>
#include <pub.h>

namespace mox {
class FormulaInputs;
}

// Inputs of a formula: X, Y, Z.
constexpr gsize kExpressionInputs = 3;

// Reads a property from the source that has it; a live read writes a fresh value back and announces
// it. ptlv: receives the value, its data freed by the caller with g_free.
gint32 _get_property_raw_data(OBJECT_HEAD_S* object_head, const gchar* property_name,
                              gboolean is_volatile, TLV_S* ptlv, gboolean is_remote);

// Reads a property's stored bytes under the object's semaphore.
gint32 _get_property_memory_data(OBJECT_HEAD_S* object_head, const gchar* property_name,
                                 TLV_S* ptlv);

// Reads the property that a reference names; the record's bytes must be the caller's own.
// Returns TRUE; the result is in *retv.
gboolean _get_reference_property_data(SERIALISED_PROPERTY_S* property_node, gboolean is_volatile,
                                      TLV_S* ptlv, gint32* retv, gboolean is_remote);

// Reads through the property's accessor, or through the remote hook. FALSE: not a matter of
// hardware, or the hardware has no value for now. TRUE: taken, with the result in *retv.
gboolean _get_hardware_data(OBJECT_HEAD_S* object_head, SERIALISED_PROPERTY_S* property_node,
                            TLV_S* ptlv, gint32* retv, gboolean is_remote);

// Computes the result of a formula. FALSE: not the result of one. TRUE: taken, with the result in
// *retv, *is_updated telling whether an input changed, and the inputs in *inputs, which were not
// read before.
gboolean _get_expression_data(OBJECT_HEAD_S* object_head, SERIALISED_PROPERTY_S* property_node,
                              TLV_S* ptlv, mox::FormulaInputs* inputs, gint32* retv,
                              gboolean* is_updated, gboolean is_remote);

namespace mox {

// Bytes of the largest value: those of the largest pool. A record that declares more was written
// past the library.
inline constexpr gsize kLargestValue = gsize{32} << 20U;

// An input of a formula: the property that is read and the formula's name for it, and the property
// that remembers what the formula was last evaluated with.
struct FormulaInput {
    const gchar* name;
    const gchar* cache_name;
};
inline constexpr FormulaInput kFormulaInputs[kExpressionInputs] = {
    {"X", "Xcache"}, {"Y", "Ycache"}, {"Z", "Zcache"}};

// Copies a property's stored value into a package. Called with the object's semaphore
// held. Returns 0, or MOX_ERR_INTERNAL when the declared size is more than any value has, or than
// there is memory for, or a writer died over the value.
gint32 copy_stored_value(const SERIALISED_PROPERTY_S& property, TLV_S& tlv);

// Copies a property's stored value, or as much of it as the room holds, whatever size the record
// declares. Called with the object's semaphore held. Returns the whole size that it declares.
gsize copy_stored_into(const SERIALISED_PROPERTY_S& property, gpointer dest, gsize room);

// Whether a read is answered by the stored value without a look at any other source.
bool is_answered_from_memory(const SERIALISED_PROPERTY_S& property, gboolean is_volatile);

// Reads a property whose record was found already.
gint32 read_property(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, gboolean is_volatile,
                     TLV_S& tlv, gboolean is_remote);

// Whether a property is the result of a formula, and whether hardware delivers its value: what the
// two sources above take.
bool is_formula_result(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property);
bool is_hardware_read(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property);

// Whether a live read of a property that is no reference asks another source than memory.
bool has_live_source(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property);

// Reads the property that an object's reference names.
gint32 read_reference(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                      gboolean is_volatile, TLV_S& tlv, gboolean is_remote);

// Stores what a live source delivered and announces it when it is new, and refreshes the caches of
// a formula's inputs. Returns 0, or MOX_ERR_SEMAPHORE when the value could not be written back.
gint32 write_back(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, const TLV_S& fresh,
                  const TLV_S (&inputs)[kExpressionInputs], bool inputs_changed);

// Whether a value's type string, not null, is the one of the property.
bool is_of_type(const gchar* type, const SERIALISED_PROPERTY_S& property);

// Wraps a type and bytes into a value that owns the bytes (freed with g_free, also on failure).
// Returns a floating value, or null for a type string that names no type.
GVariant* value_of_bytes(const gchar* type, gpointer data, gsize size);

// Wraps a type and bytes that lie in somebody's memory into a value that tells its holder when it
// needs them no more (drop(holder), also on failure). Returns a floating value, or null for a type
// string that names no type.
GVariant* value_held_by(const gchar* type, gconstpointer data, gsize size, GDestroyNotify drop,
                        gpointer holder);

// A value over a property's bytes in place, without a copy: for the moment only. Returns a floating
// value or null.
GVariant* value_in_place(const gchar* type, gconstpointer data, gsize size);

}  // namespace mox

#endif
