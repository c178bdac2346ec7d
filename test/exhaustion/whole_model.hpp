// A model that is built, used and partly taken away again with every function that the core exports
// to the owner of the pool; what only a member calls is in hook_faults_test.cpp. called_names.sh
// looks that no exported name is called in neither.
//
//   WholeModel model('A', 0, {});            every call must succeed
//   WholeModel model('A', 0, {fault codes})  a call may fail, with a code that its header names, or
//                                            one of these where it passes codes of a layer on
//   model.build(); model.use(); model.replug(); model.end();
//
// Names end with the suffix, so two models live side by side. Classes take the places
// first_class .. first_class + classes - 1 of the class tree. What a call did is looked at, too: a
// write that succeeded is read back, one that failed left the old value or the new one.
#ifndef MOX_TEST_EXHAUSTION_WHOLE_MODEL_HPP
#define MOX_TEST_EXHAUSTION_WHOLE_MODEL_HPP

#include <classnode.h>
#include <moxlib/moxbase.h>

#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <vector>

typedef struct _GVariant GVariant;

namespace mox::test {

using Codes = std::set<gint32>;

// What the calls of one family may give beside success, as their headers say.
extern const Codes read_codes;
extern const Codes write_codes;
extern const Codes save_codes;
extern const Codes hardware_codes;
extern const Codes message_codes;
extern const Codes lookup_codes;

class WholeModel {
public:
    static constexpr guint32 classes = 3;

    WholeModel(char suffix, guint32 first_class, std::optional<Codes> passed_on)
        : suffix_(suffix), first_class_(first_class), passed_on_(std::move(passed_on)) {}

    void build();
    void use();
    void replug();
    void end();

    // Whether the code is one that this call may give here; the test fails when not.
    void gives(const char* call, gint32 code, const Codes& documented) const;
    // The same of a result that is there or not.
    void gives_thing(const char* call, bool is_there) const;

    guint32 board_position() const { return 8 + 2 * first_class_; }
    guint32 spare_position() const { return board_position() + 1; }
    std::string named(const std::string& name) const { return name + suffix_; }
    bool must_succeed() const { return !passed_on_.has_value(); }

private:
    void build_schema();
    void build_methods();
    void read_schema() const;
    void build_registry();
    void build_objects();
    void build_hardware();
    void build_board(guint32 position, const std::string& name);
    void add_to_class(const std::string& class_name, const std::string& name) const;
    void collect(const std::string& class_name) const;

    void read_everything() const;
    void read_in_other_ways() const;
    void write_values() const;
    void write_value(const std::string& object, const char* property, GVariant* floating,
                     PER_MODE_E mode = PER_MODE_NOSUPPORT) const;
    void override_values() const;
    void save_values() const;
    void save_statically() const;
    void change_save_type() const;
    // That a call gave what the store answered in it: the first answer that is not PER_OK. asked:
    // calls of the store before it.
    void hands_on(const char* call, gint32 code, std::size_t asked) const;
    void use_hardware() const;
    void share_objects() const;
    void use_aliases() const;
    void send_messages() const;
    void count_lost_messages() const;
    void listen_to_changes() const;
    void use_classes() const;
    void use_new_objects() const;
    void use_collection() const;
    void use_registry() const;
    void use_pool() const;
    void use_segment() const;
    void convert_values() const;

    char suffix_;
    guint32 first_class_;
    std::optional<Codes> passed_on_;
};

}  // namespace mox::test

#endif
