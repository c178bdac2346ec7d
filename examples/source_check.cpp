#include "source_check.hpp"

#include <algorithm>
#include <cmath>

#include "text_file.hpp"
#include "value_text.hpp"

namespace mox::examples {
namespace {

double number_in(GVariant* value) {
    switch (g_variant_classify(value)) {
        case G_VARIANT_CLASS_BOOLEAN:
            return g_variant_get_boolean(value) != FALSE ? 1 : 0;
        case G_VARIANT_CLASS_BYTE:
            return g_variant_get_byte(value);
        case G_VARIANT_CLASS_INT16:
            return g_variant_get_int16(value);
        case G_VARIANT_CLASS_UINT16:
            return g_variant_get_uint16(value);
        case G_VARIANT_CLASS_INT32:
            return g_variant_get_int32(value);
        case G_VARIANT_CLASS_UINT32:
            return g_variant_get_uint32(value);
        case G_VARIANT_CLASS_DOUBLE:
            return g_variant_get_double(value);
        default:
            throw WatchError("a property with an accessor is not a number");
    }
}

std::optional<double> number_in(const ValueSource& source,
                                const std::map<std::string, std::optional<std::string>>& texts) {
    const std::optional<std::string>& text = texts.at(source.path);
    return text ? number_at(source, *text) : std::nullopt;
}

// Exactly; but a scaled number may have been rounded once more on its way.
bool is_same(double in_pool, double in_file, bool is_scaled) {
    const double allowed = is_scaled ? std::max(std::fabs(in_file), 1.0) * 1e-12 : 0;
    return std::fabs(in_pool - in_file) <= allowed;
}

std::string text_of(std::optional<double> number) {
    return number ? text_of_real(*number) : "nothing";
}

}  // namespace

SourceCheck::SourceCheck(const WatchedModel& model) {
    for (const WatchedObject& object : model.objects) {
        for (const WatchedProperty& property : object.properties) {
            if (property.accessor.empty()) continue;
            Item item;
            item.object = object.handle;
            item.object_name = object.name;
            item.property = property.name;
            item.source = find_source(property.accessor);
            open_.push_back(std::move(item));
        }
    }
}

SourceCheck::Texts SourceCheck::read_files() const {
    Texts texts;
    for (const Item& item : open_) {
        const auto [entry, is_new] = texts.try_emplace(item.source.path);
        if (is_new) entry->second = read_text(item.source.path);
    }
    return texts;
}

SourceCheck::Verdict SourceCheck::judge(const Item& item, double in_pool,
                                        std::optional<double> before, std::optional<double> after) {
    if (!before && !after) return Verdict::absent;
    if (!before || !after) return Verdict::moves;
    if (*before == *after) {
        return is_same(in_pool, *after, item.source.scale != 0) ? Verdict::agrees
                                                                : Verdict::differs;
    }
    if (*before > *after || !only_grows(item.source)) return Verdict::moves;
    return *before <= in_pool && in_pool <= *after ? Verdict::agrees : Verdict::differs;
}

// True when the item agrees and is done with.
bool SourceCheck::settle(Item& item, double in_pool, const Texts& before, const Texts& after) {
    const std::optional<double> earlier = number_in(item.source, before);
    const std::optional<double> later = number_in(item.source, after);
    switch (judge(item, in_pool, earlier, later)) {
        case Verdict::agrees:
            ++agreed_;
            return true;
        case Verdict::moves:
            ++item.moved;
            return false;
        case Verdict::absent:
            return false;
        case Verdict::differs:
            break;
    }
    ++item.differed;
    item.difference = "the pool has " + text_of(in_pool) + ", " + item.source.path + " said " +
                      text_of(earlier) + " before and " + text_of(later) + " after";
    return false;
}

void SourceCheck::run_round(MoxHostModule* module) {
    const Texts before = read_files();
    Failure failure;
    if (!moxhost_refresh(module, failure.out())) {
        throw WatchError("the owner does not refresh its hardware: " + failure.text());
    }
    std::vector<double> in_pool;
    for (const Item& item : open_) {
        in_pool.push_back(number_in(read_pool(item.object, item.property).get()));
    }
    const Texts after = read_files();
    std::vector<Item> still_open;
    auto value = in_pool.begin();
    for (Item& item : open_) {
        if (!settle(item, *value++, before, after)) still_open.push_back(std::move(item));
    }
    open_ = std::move(still_open);
}

SourceCheckResult SourceCheck::result() const {
    SourceCheckResult result;
    result.agreed = agreed_;
    for (const Item& item : open_) {
        const std::string name = item.object_name + "." + item.property;
        if (item.differed > item.moved) {
            result.disagreed.push_back(name + ": " + item.difference);
        } else if (item.moved > 0) {
            result.moving.push_back(name);
        } else {
            result.absent.push_back(name);
        }
    }
    return result;
}

}  // namespace mox::examples
