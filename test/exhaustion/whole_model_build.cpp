// Building: the schema, the registry of classes with its listeners, the routes and the objects.
#include <classtree.h>
#include <lom.h>
#include <moxfake/driver.h>
#include <mxroute.h>

#include "../unit/lom/write_fixture.hpp"
#include "whole_model.hpp"

namespace mox::test {

void WholeModel::gives(const char* call, gint32 code, const Codes& documented) const {
    if (code >= 0) return;
    const bool is_allowed =
        !must_succeed() && (documented.contains(code) || passed_on_->contains(code));
    EXPECT_TRUE(is_allowed) << call << " of model " << suffix_ << " gave " << code;
}

void WholeModel::gives_thing(const char* call, bool is_there) const {
    EXPECT_TRUE(is_there || !must_succeed()) << call << " of model " << suffix_ << " gave nothing";
}

void WholeModel::build() {
    build_schema();
    build_methods();
    read_schema();
    build_registry();
    build_hardware();
    build_objects();
    build_board(board_position(), "Board");
    build_board(spare_position(), "Spare");
    collect("Fan");
    collect("Sensor");
}

void WholeModel::build_schema() {
    static const gchar text_type[PUB_TYPE_LENGTH] = "s";
    static const gchar number_type[PUB_TYPE_LENGTH] = "u";
    if (clt_get_class_tree_addr() == nullptr) clt_create_class_tree(2 * classes);
    guint32 index = first_class_;
    for (const char* const name : {"Fan", "Sensor", "Look"}) {
        const CLS_HANDLE made =
            clt_init_class(named(name).c_str(), index, static_cast<guint16>(index + 1));
        gives_thing("clt_init_class", made != nullptr);
        EXPECT_EQ(made, cls_get_class(named(name).c_str()));
        clt_create_property(index, 2);
        clt_init_property(index, 0, 1, "Speed", number_type, 1, 1);
        clt_init_property(index, 1, 2, "Label", text_type, 1, 0);
        ++index;
    }
}

void WholeModel::build_methods() {
    static const gchar number_type[PUB_TYPE_LENGTH] = "u";
    static const gchar text_type[PUB_TYPE_LENGTH] = "s";
    static guint32 timeout = 7;
    clt_create_method(first_class_, 2);
    for (guint32 method = 0; method < 2; ++method) {
        clt_init_method(first_class_, method, static_cast<guint16>(method + 1),
                        method == 0 ? "Reset" : "Stop");
        clt_create_method_para(first_class_, method, INPUT_PARA, 1);
        clt_init_method_para(first_class_, method, INPUT_PARA, 0, number_type);
        clt_create_method_para(first_class_, method, OUTPUT_PARA, 1);
        clt_init_method_para(first_class_, method, OUTPUT_PARA, 0, text_type);
        clt_create_method_property(first_class_, method, 1);
        clt_init_method_property(first_class_, method, 0, "Timeout", "u", sizeof timeout, &timeout);
    }
}

void WholeModel::read_schema() const {
    const std::string fan = named("Fan");
    guint32 count = 0;
    DEFINED_PROPERTY_NODE_S* properties = nullptr;
    gives("clt_get_property_by_class", clt_get_property_by_class(fan.c_str(), &count, &properties),
          {-1});
    gives_thing("clt_get_property_by_class", count == 2 && properties != nullptr);
    DEFINED_CLASS_NODE_S* const node = clt_get_class_by_id(static_cast<guint16>(first_class_ + 1));
    gives_thing("clt_get_class_by_id", node != nullptr);
    gives_thing("clt_get_property_by_id", clt_get_property_by_id(node, 2) != nullptr);
    gives_thing("clt_get_method_by_id", clt_get_method_by_id(node, 2) != nullptr);
    GSList* list = nullptr;
    for (const PARA_TYPE direction : {INPUT_PARA, OUTPUT_PARA}) {
        gives("clt_get_paralist", clt_get_paralist(fan.c_str(), "Stop", direction, &list),
              {MOX_ERR_CLASS_NOT_FOUND, MOX_ERR_METHOD_NOT_FOUND, MOX_ERR_INTERNAL});
        g_slist_free_full(
            list, [](gpointer type) { g_variant_type_free(static_cast<GVariantType*>(type)); });
        list = nullptr;
    }
    GVariant* value = nullptr;
    gives("clt_get_method_property",
          clt_get_method_property(fan.c_str(), "Stop", "Timeout", &value),
          {MOX_ERR_CLASS_NOT_FOUND, MOX_ERR_METHOD_NOT_FOUND, MOX_ERR_PROPERTY_NOT_FOUND,
           MOX_ERR_INTERNAL});
    if (value != nullptr) {
        EXPECT_EQ(g_variant_get_uint32(value), 7U);
        g_variant_unref(value);
    }
    gives("clt_get_all_children", clt_get_all_children(fan.c_str(), &list),
          {MOX_ERR_CLASS_NOT_FOUND, -1});
    g_slist_free(list);
}

void WholeModel::build_registry() {
    const CLS_HANDLE fan = cls_get_class(named("Fan").c_str());
    const CLS_HANDLE sensor = cls_get_class(named("Sensor").c_str());
    const CLS_HANDLE look = cls_get_class(named("Look").c_str());
    cls_set_parent(sensor, fan);
    cls_set_next(fan, sensor);
    cls_set_next(sensor, look);
    gives_thing("cls_is_type", cls_is_type(sensor, named("Fan").c_str()) != FALSE);
    for (const gint32 port : {101, 102}) {
        cls_add_listener_port(fan, "Speed", port, 4);
        cls_add_listener_port(fan, "Label", port, 4);
        cls_add_listener_port(sensor, "Value", port, 4);
        cls_add_listener_port(look, "Twin", port, 4);
    }
    GSList* ports = nullptr;
    gives("cls_get_listener_list", cls_get_listener_list(named("Fan").c_str(), "Label", &ports),
          lookup_codes);
    gives_thing("cls_get_listener_list", g_slist_length(ports) == 2);
    EXPECT_LE(g_slist_length(ports), 2U);
    g_slist_free(ports);
    rut_add_module(named("cooler").c_str(), 5, 101);
    rut_add_class(named("Fan").c_str(), 5, 101);
}

void WholeModel::add_to_class(const std::string& class_name, const std::string& name) const {
    const OBJ_HANDLE handle = lom_get_object_handle(named(name).c_str());
    gives_thing("lom_add_object", handle != 0);
    if (handle == 0) return;
    cls_add_object(named(class_name).c_str(), handle);
    lom_set_writable(handle, OBJECT_READ_WRITE);
}

void WholeModel::build_hardware() {
    fake::driver_program_value<guint32>(named("Tacho"), 1300);
    add_object({.name = named("Tacho"),
                .class_name = "Accessor",
                .object_type = "Physical",
                .properties = {text("Chip", named("Cpld"))}});
    add_object({.name = named("Cpld"),
                .class_name = "Chip",
                .object_type = "Physical",
                .properties = {text("Path", "/dev/null")}});
}

void WholeModel::build_objects() {
    const std::string first = named("Fan1");
    add_object({.name = first,
                .class_name = named("Fan"),
                .properties = {number<guint32>("Speed", "u", 1200),
                               text("Label", "left"),
                               {"Names", "as", {'a', 0, 2}},
                               number<guint32>("Live", "u", 0, "rw", named("Tacho")),
                               number<guint8>("d:Level", "y", 3)}});
    add_object({.name = named("Fan2"),
                .class_name = named("Fan"),
                .mutex_object = first,
                .properties = {number<guint32>("Speed", "u", 900), text("Label", "right")}});
    add_object({.name = named("Sum"),
                .class_name = named("Sensor"),
                .properties = {reference("X", first + ".Speed"), reference("Y", first + ".Speed"),
                               reference("Z", first + ".Speed"), number<guint32>("Xcache", "u", 0),
                               number<guint32>("Ycache", "u", 0), number<guint32>("Zcache", "u", 0),
                               text("Formula", "X + Y"), number<double>("Value", "d", 0)}});
    add_object({.name = named("View"),
                .class_name = named("Look"),
                .properties = {reference("Twin", first + ".Speed")}});
    add_object({.name = named("Other"),
                .class_name = named("Look"),
                .properties = {number<guint32>("Speed", "u", 1)}});
    add_to_class("Fan", "Fan1");
    add_to_class("Fan", "Fan2");
    add_to_class("Sensor", "Sum");
    add_to_class("Look", "View");
    add_to_class("Look", "Other");
    gives("lom_set_reference", lom_set_reference(named("Other").c_str(), named("Fan2").c_str()),
          {MOX_ERR_OBJECT_NOT_FOUND, MOX_ERR_INTERNAL});
}

void WholeModel::build_board(guint32 position, const std::string& name) {
    for (const char* const part : {"1", "2"}) {
        add_object({.name = named(name + part),
                    .class_name = named("Fan"),
                    .position = position,
                    .properties = {number<guint32>("Speed", "u", 10), text("Label", "plugged"),
                                   text("d:Note", "unsaved")}});
        add_to_class("Fan", name + part);
    }
}

// Rebuilds the collection of a class, and sends what is new to two ports.
void WholeModel::collect(const std::string& class_name) const {
    const CLS_HANDLE node = cls_get_class(named(class_name).c_str());
    ipc_msg_newobj_init();
    cls_create_collection(named(class_name).c_str(), node,
                          [](CLS_HANDLE class_handle, GSList* names) {
                              ipc_msg_collect_obj(101, class_handle, names);
                              ipc_msg_collect_obj(102, class_handle, names);
                          });
    ipc_msg_newobj_event(board_position());
    ipc_msg_newobj_free();
    if (node == nullptr || cls_get_object_count(node) == 0) return;
    const OBJ_HANDLE collection = lom_get_object_handle((named(class_name) + ":C").c_str());
    gives_thing("cls_create_collection", collection != 0);
    GVariant* count = nullptr;
    gives("lom_get_property_value",
          lom_get_property_value(collection, "Count", FALSE, &count, FALSE), read_codes);
    if (count != nullptr) {
        EXPECT_TRUE(g_variant_get_uint32(count) == cls_get_object_count(node) || !must_succeed());
        g_variant_unref(count);
    }
}

}  // namespace mox::test
