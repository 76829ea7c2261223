#include "database/lookup/option_list.h"

#include "database_fixture.h"

namespace {

TEST(OptionList, EveryFormOfAnOption) {
    const std::tuple<Bytes, PadRule, OptionForm, std::size_t, std::size_t> cases[] = {
        {{12, 2, 'a', 'b', 255}, PadRule::Pads, OptionForm::Whole, 2, 4},
        {{12, 0}, PadRule::Pads, OptionForm::Whole, 0, 2},
        {{0, 12}, PadRule::Pads, OptionForm::Pad, 0, 1},
        {{0, 1, 7}, PadRule::Options, OptionForm::Whole, 1, 3},
        {{255, 1}, PadRule::Options, OptionForm::End, 0, 2},
        {{12}, PadRule::Pads, OptionForm::NoLength, 0, 1},
        {{0}, PadRule::Options, OptionForm::NoLength, 0, 1},
        {{12, 3, 'a', 'b'}, PadRule::Pads, OptionForm::CutValue, 2, 4},
        {{12, 255}, PadRule::Pads, OptionForm::CutValue, 0, 2}};
    for (const auto& [bytes, pads, form, length, next] : cases) {
        const OptionList list = {bytes.data(), bytes.data() + bytes.size(), pads};
        const OptionView option = ReadOption(list, list.begin);
        EXPECT_EQ(option.form, form);
        EXPECT_EQ(option.length, length);
        EXPECT_EQ(option.next, list.begin + next);
    }
}

TEST(OptionList, WalksStopAtTheTagTheEndMarkAndTheEnd) {
    const Bytes bytes = {0, 12, 1, 53, 0, 53, 1, 3, 1, 1, 1, 255, 50, 1, 1};
    const auto at = [&](BYTE tag, std::size_t size, PadRule pads = PadRule::Pads) {
        const auto option = FindOption({bytes.data(), bytes.data() + size, pads}, tag);
        return option ? static_cast<int>(option->start - bytes.data()) : -1;
    };
    EXPECT_EQ(at(53, bytes.size()), 5);  // not the 53 inside the value
    EXPECT_EQ(at(53, 6), 5);             // present without its length
    EXPECT_EQ(at(53, 5), -1);
    EXPECT_EQ(at(1, bytes.size()), 8);
    EXPECT_EQ(at(50, bytes.size()), -1);  // after the end mark
    EXPECT_EQ(at(255, bytes.size()), -1);
    EXPECT_EQ(at(53, bytes.size(), PadRule::Options), -1);  // the pad counts as an option of twelve bytes
    EXPECT_FALSE(FindOption({bytes.data() + 1, bytes.data()}, 12));
}

TEST(OptionList, ValuesBehindTheEndReadAsZero) {
    const Bytes bytes = {50, 4, 10, 20};
    for (const std::size_t size : {1u, 4u}) {
        const OptionList list = {bytes.data(), bytes.data() + size};
        Bytes value(4, 9);
        CopyOptionValue(list, *FindOption(list, 50), value.data(), 4);
        EXPECT_EQ(value, size == 1 ? Bytes(4) : (Bytes{10, 20, 0, 0}));
    }
}

}  // namespace
