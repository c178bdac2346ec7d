/* classtree.h: the schema: classes with their properties and methods, and which class is below
 * which.
 *
 * The pool's owner builds the tree once, while it loads the class profile, and hands its address to
 * the other processes; from then on nobody writes it. It lies in the pool, so its pointers can be
 * followed in every process just as they stand. The building functions do nothing in a process that
 * is not the owner. Only clt_init_class takes a lock, the class table's, and none is forbidden; the
 * tree may be read from any thread once it is built. */
#ifndef MOX_CLASSTREE_H
#define MOX_CLASSTREE_H

#include <classnode.h>
#include <moxlib/moxbase.h>
#include <pub.h>

G_BEGIN_DECLS

/* The direction of a method's parameters. */
typedef enum tag_para_type {
    INPUT_PARA = 0,
    OUTPUT_PARA = 1,
    PARA_DIRECTIONS = 2 /* how many there are; none itself */
} PARA_TYPE;

/* Every record lies in the pool; an array is one block, its count and then its elements. Names are
 * pool strings of at most 31 characters, null when the pool had no room for them. */

/* A property of a class. */
typedef struct tag_defined_property_node {
    gchar* name;
    gchar type[PUB_TYPE_LENGTH]; /* as the builder gave it: it need not be terminated */
    guint16 id;                  /* within its class */
    guint8 exported;             /* not 0: exported */
    guint8 key;                  /* not 0: a key property */
} DEFINED_PROPERTY_NODE_S;

/* The properties of a class. */
typedef struct tag_defined_property_array {
    gsize size; /* number of properties */
    G_GNUC_EXTENSION DEFINED_PROPERTY_NODE_S property[];
} DEFINED_PROPERTY_ARRAY_S;

/* A parameter of a method. */
typedef struct tag_method_para_node {
    gchar type[PUB_TYPE_LENGTH]; /* as the builder gave it: it need not be terminated */
} DEFINED_METHOD_PARA_NODE_S;

/* The parameters follow each other without gaps, 6 bytes each. */
typedef struct tag_mothed_para_array_node {
    gsize size; /* number of parameters */
    G_GNUC_EXTENSION DEFINED_METHOD_PARA_NODE_S para[];
} DEFINED_METHOD_PARA_ARRAY_S;

/* A constant that belongs to a method. */
typedef struct tag_method_property {
    gchar* name;
    gchar type[PUB_TYPE_LENGTH]; /* terminated, at most 5 characters */
    gsize size;                  /* bytes of data */
    gpointer data;               /* pool copy of the value in serialized form */
} METHOD_PROPERTY_NODE_S;

/* The constants of a method. */
typedef struct tag_method_property_arr {
    gsize count; /* number of properties */
    G_GNUC_EXTENSION METHOD_PROPERTY_NODE_S property[];
} METHOD_PROPERTY_ARRAY_S;

/* A method of a class. */
typedef struct tag_defined_method_node {
    gchar* name;
    guint16 id;                                         /* within its class */
    DEFINED_METHOD_PARA_ARRAY_S* para[PARA_DIRECTIONS]; /* by PARA_TYPE; each nullable */
    METHOD_PROPERTY_ARRAY_S* property_arr;              /* nullable */
} DEFINED_METHOD_NODE_S;

/* The methods of a class. */
typedef struct tag_defined_method_array {
    gsize size; /* number of methods */
    G_GNUC_EXTENSION DEFINED_METHOD_NODE_S method[];
} DEFINED_METHOD_ARRAY_S;

/* One class. The profile's loader links children and next itself, once all classes are there. */
typedef struct tag_defined_class_node {
    gchar* name;
    guint16 id;                               /* the profile's; not necessarily unique */
    DEFINED_PROPERTY_ARRAY_S* property_array; /* nullable */
    DEFINED_METHOD_ARRAY_S* method_array;     /* nullable */
    struct tag_defined_class_node* children;  /* first child, in the same array; nullable */
    struct tag_defined_class_node* next;      /* next one below the same parent; nullable */
} DEFINED_CLASS_NODE_S;

/* The root of the tree. */
typedef struct tag_defined_class_array {
    gsize size; /* number of classes */
    G_GNUC_EXTENSION DEFINED_CLASS_NODE_S classes[];
} DEFINED_CLASS_ARRAY_S;

/* ---- building: owner only, before another process is given the tree, in the order below. Indices
 * are positions counted from 0, ids are the profile's numbers. An index beyond its array, or an
 * array that is not there, makes a call do nothing. An array for which the pool has no room is
 * null. What an array or a node held before stays in the pool. ---- */

/* Makes the tree, with room for its classes; an earlier tree is replaced.
 * class_count: number of classes, from 0. No result: without room there is no tree. */
MOX_API void clt_create_class_tree(gsize class_count);

/* Fills a class, without properties and methods, and registers it in the class registry.
 * class_name: nullable, cut to 31 characters in the tree. class_index: below the tree's size.
 * class_id: the profile's number. Returns the class's handle, which lives as long as the process;
 * null when nothing was done, and as cls_create_class. Takes the class-table lock. */
MOX_API CLS_HANDLE clt_init_class(const gchar* class_name, guint32 class_index, guint16 class_id);

/* Makes a class's array of properties. property_count: from 0. */
MOX_API void clt_create_property(guint32 class_index, guint32 property_count);

/* Fills a property.
 * property_name: nullable, cut to 31 characters. type: 6 readable bytes, copied whatever they hold;
 * null is logged and empties the type. exported, key: flags, kept as they are. */
MOX_API void clt_init_property(guint32 class_index, guint32 property_index, guint16 property_id,
                               const gchar* property_name, const gchar* type, guint8 exported,
                               guint8 key);

/* Makes a class's array of methods. method_count: from 0. */
MOX_API void clt_create_method(guint32 class_index, guint32 method_count);

/* Fills a method, without parameters. method_name: nullable, cut to 31 characters. */
MOX_API void clt_init_method(guint32 class_index, guint32 method_index, guint16 method_id,
                             const gchar* method_name);

/* Makes a method's array of parameters of one direction. count: from 0. */
MOX_API void clt_create_method_para(guint32 class_index, guint32 method_index, PARA_TYPE dir,
                                    guint32 count);

/* Fills a parameter. type: 6 readable bytes, copied whatever they hold; null is logged and empties
 * the type. */
MOX_API void clt_init_method_para(guint32 class_index, guint32 method_index, PARA_TYPE dir,
                                  guint32 para_index, const gchar* type);

/* Makes a method's array of constant properties. count: from 0. */
MOX_API void clt_create_method_property(guint32 class_index, guint32 method_index, gsize count);

/* Fills a method's constant property.
 * property_name: nullable, cut to 31 characters. type: NUL-terminated, nullable, cut to 5
 * characters. size: bytes of data. data: the value in serialized form, nullable, copied. */
MOX_API void clt_init_method_property(guint32 class_index, guint32 method_index,
                                      guint32 property_index, const gchar* property_name,
                                      const gchar* type, gsize size, gpointer data);

/* ---- reaching the tree: any process ---- */

/* Gives the tree's address, which the owner hands to the other processes; null without a tree. */
MOX_API gpointer clt_get_class_tree_addr(void);

/* Installs the owner's tree. addr: the owner's clt_get_class_tree_addr, nullable (no tree). For any
 * process but the owner, with the pool attached, before its first lookup. */
MOX_API void clt_set_tree_addr(gpointer addr);

/* Gives all classes, as they stand in the tree.
 * class_num: receives their number, nullable. class_node_list: receives the first class, not to be
 * freed, nullable. 0 and null without a tree. */
MOX_API void clt_get_class_tree(gint32* class_num, DEFINED_CLASS_NODE_S** class_node_list);

/* ---- lookups: any process. What they give lies in the tree and is not to be freed, unless said
 * otherwise. The first match in the array's order is taken. ---- */

/* Finds a class by id. Returns null when there is none, and without a tree. */
MOX_API DEFINED_CLASS_NODE_S* clt_get_class_by_id(guint16 class_id);

/* Finds a property of a class by id. class_node: nullable. Returns null when there is none; a class
 * without an array of properties is logged. */
MOX_API DEFINED_PROPERTY_NODE_S* clt_get_property_by_id(DEFINED_CLASS_NODE_S* class_node,
                                                        guint16 property_id);

/* Finds a method of a class by id. class_node: nullable. Returns null when there is none; a class
 * without an array of methods is logged. */
MOX_API DEFINED_METHOD_NODE_S* clt_get_method_by_id(DEFINED_CLASS_NODE_S* class_node,
                                                    guint16 method_id);

/* Gives the properties of a class.
 * class_name: nullable. property_num: receives their number. property_node_list: receives the first
 * one; null when the class has no array of properties.
 * Returns 0; -1 when the class is not found or the name is null; MOX_ERR_BAD_ARGUMENT for a null
 * receiver. On failure nothing is received. */
MOX_API gint32 clt_get_property_by_class(const gchar* class_name, guint32* property_num,
                                         DEFINED_PROPERTY_NODE_S** property_node_list);

/* Lists the types of a method's parameters, in their order.
 * class_name, method_name: nullable. para_type: the direction. para_list: receives a new list of
 * new GVariantType, freed by the caller with g_slist_free_full(list,
 * (GDestroyNotify)g_variant_type_free); null for none.
 * Returns 0; MOX_ERR_BAD_ARGUMENT for a null para_list or no direction; MOX_ERR_CLASS_NOT_FOUND
 * when the class is not found or has no methods (logged); MOX_ERR_METHOD_NOT_FOUND (logged);
 * MOX_ERR_INTERNAL when a parameter's type is no type string (logged). On failure nothing is
 * received: a list without one of its parameters would give the rest a wrong place. */
MOX_API gint32 clt_get_paralist(const gchar* class_name, const gchar* method_name,
                                PARA_TYPE para_type, GSList** para_list);

/* Gives the value of a method's constant property.
 * class_name, method_name, property_name: nullable. property_value: receives a new floating value
 * over the pool's bytes, freed by the caller with g_variant_unref, which leaves the bytes alone.
 * Bytes that are no value in normal form read as GLib reads them, never past their end.
 * Returns 0; MOX_ERR_BAD_ARGUMENT for a null property_value; MOX_ERR_CLASS_NOT_FOUND when the class
 * is not found or has no methods (logged); MOX_ERR_METHOD_NOT_FOUND (logged);
 * MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL when its type is no type of a value, or its bytes
 * found no room in the pool. On failure nothing is received. */
MOX_API gint32 clt_get_method_property(const gchar* class_name, const gchar* method_name,
                                       const gchar* property_name, GVariant** property_value);

/* Lists the names of a class and of all classes below it: the class itself first, and every class
 * before those below it, of which the last child comes first.
 * class_name: not null. An unknown name gives the names below the last class of the tree: settled
 * so, callers pass known names only. cld_list: receives a new list of the tree's own strings, of
 * which the caller frees the list alone, with g_slist_free; null without a class. A class without
 * a name is left out, and one that is linked twice is listed once.
 * Returns 0; MOX_ERR_BAD_ARGUMENT for null arguments. */
MOX_API gint32 clt_get_all_children(const gchar* class_name, GSList** cld_list);

G_END_DECLS

#endif
