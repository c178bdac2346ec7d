// Each call is made, its code is looked at, and the choices of its item are narrowed or widened.
#include "store_history.hpp"

namespace mox::test {

bool is_documented_failure(gint32 code) {
    switch (code) {
        case PER_ERROR_MALLOC_FAIL:
        case PER_ERROR_FILE_INIT_FAIL:
        case PER_ERROR_CFG_ITEM_INIT_FAIL:
        case PER_ERROR_CFG_INIT_FAIL:
        case PER_ERROR_FILE_OPEN_FAIL:
        case PER_ERROR_FILE_LOCK_FAIL:
        case PER_ERROR_FILE_WRITE_FAIL:
            return true;
        default:
            return false;
    }
}

std::string StoreHistory::text_of(const Saved& saved) {
    if (saved.code == PER_ERROR_CFG_ITEM_NOT_INITED) return "";
    return saved.code >= PER_OK ? saved.type + ":" + saved.bytes
                                : "code " + std::to_string(saved.code);
}

Saved StoreHistory::saved_of(const std::string& name, PER_MODE_E mode) {
    return read("Fan1", name.c_str(), mode);
}

std::string StoreHistory::status_of(const std::string& name) {
    guint32 state = 0;
    const gint32 code = cfg_status_read("Fan1", name.c_str(), &state);
    if (code == PER_ERROR_CFG_ITEM_NOT_INITED) return "";
    return code == PER_OK ? std::to_string(state) : "code " + std::to_string(code);
}

void StoreHistory::settle(Choices& choices, gint32 code, const std::string& wanted) const {
    if (choices.empty()) choices.insert("");
    if (code == PER_OK || code == PER_NEW_ITEM)
        choices.clear();
    else
        EXPECT_TRUE(is_documented_failure(code)) << code;
    choices.insert(wanted);
}

gint32 StoreHistory::save(const std::string& name, PER_MODE_E mode, const Value& value) {
    const gint32 code = mox::test::save("Fan1", name.c_str(), value, mode);
    settle(values_[{name, mode}], code, value.type + ":" + value.bytes);
    return code;
}

void StoreHistory::save_status(const std::string& name, guint32 state) {
    settle(states_[name], cfg_status_save("Fan1", name.c_str(), state), std::to_string(state));
}

void StoreHistory::remove_status(const std::string& name) {
    settle(states_[name], cfg_status_remove("Fan1", name.c_str()), "");
}

// The states go with the permanent values of their properties.
void StoreHistory::restore_defaults() {
    const gint32 code = cfg_store_restore_defaults();
    const bool is_half = code == PER_ERROR_CLEAR_CFG_FLAG;
    for (auto& [item, choices] : values_) {
        if (item.second == PER_MODE_PERMANENT) continue;
        const bool is_gone = is_half && item.second == PER_MODE_POWER_OFF;
        settle(choices,
               is_gone   ? gint32{PER_OK}
               : is_half ? gint32{PER_ERROR_FILE_WRITE_FAIL}
                         : code,
               "");
    }
    for (auto& [name, choices] : states_) {
        const auto permanent = values_.find({name, PER_MODE_PERMANENT});
        const bool is_kept = permanent != values_.end() && !permanent->second.contains("");
        const bool is_in_doubt = permanent != values_.end() && permanent->second.size() > 1;
        if (!is_kept) {
            settle(choices,
                   is_in_doubt ? gint32{PER_ERROR_FILE_WRITE_FAIL}
                   : is_half   ? gint32{PER_OK}
                               : code,
                   "");
        }
    }
}

void StoreHistory::check(bool is_fault_possible) const {
    const auto is_fault = [&](const std::string& found) {
        return is_fault_possible && found.rfind("code ", 0) == 0 &&
               is_documented_failure(std::stoi(found.substr(5)));
    };
    for (const auto& [item, choices] : values_) {
        const std::string found = text_of(saved_of(item.first, item.second));
        EXPECT_TRUE(choices.contains(found) || is_fault(found))
            << item.first << " of mode " << item.second << " is " << found.substr(0, 40);
    }
    for (const auto& [name, choices] : states_) {
        const std::string found = status_of(name);
        EXPECT_TRUE(choices.contains(found) || is_fault(found))
            << "state of " << name << " " << found;
    }
}

void StoreHistory::check_now() const {
    check(true);
}

void StoreHistory::check_reopened() const {
    check(false);
}

}  // namespace mox::test
