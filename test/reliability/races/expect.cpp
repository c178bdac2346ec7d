#include "expect.hpp"

#include "../run_options.hpp"

namespace mox::test {

void expect_code(const Player& player, gint32 code, std::initializer_list<gint32> allowed,
                 const std::string& what) {
    for (const gint32 one : allowed) {
        if (code == one) return;
    }
    broken("thread " + std::to_string(player.thread) + ": " + what + " gave code " +
           std::to_string(code));
}

void expect_whole(Player& player, const std::string& text, const std::string& what) {
    ++player.values;
    if (!text.empty() && text == std::string(text.size(), text[0])) return;
    broken("thread " + std::to_string(player.thread) + ": " + what + ": a torn value of " +
           std::to_string(text.size()) + " bytes: " + text);
}

void expect_number(Player& player, guint32 value, const std::string& what) {
    ++player.values;
    if (value < kMostInput) return;
    broken("thread " + std::to_string(player.thread) + ": " + what + ": the number " +
           std::to_string(value) + ", which nobody wrote");
}

std::string letters(Player& player) {
    return std::string(1 + player.below(kMostLetters), static_cast<char>('a' + player.below(26)));
}

bool is_steady(const std::string& name) {
    return name.rfind("Fan", 0) == 0;
}

const std::string& any_label(Player& player) {
    if (player.chance(50)) return player.model.fans()[player.below(player.model.fans().size())];
    const Fleeting& fleeting = player.model.fleeting(player.below(kThreads));
    return player.chance(50) ? fleeting.temps[player.below(2)] : fleeting.boards[player.below(2)];
}

std::initializer_list<gint32> ok_or_gone(const std::string& name) {
    static constexpr std::initializer_list<gint32> ok = {MOX_OK};
    static constexpr std::initializer_list<gint32> either = {MOX_OK, MOX_ERR_OBJECT_NOT_FOUND};
    return is_steady(name) ? ok : either;
}

}  // namespace mox::test
