// The confirmation dialog when the version is very long or contains bytes other than printable ASCII.
#include "tests/system/system_test.h"

namespace {

struct UnusualVersion {
    const char* name;
    std::string contents;
};

void PrintTo(const UnusualVersion& version, std::ostream* stream)
{
    *stream << version.name;
}

class DialogWithVersion : public SystemTest, public testing::WithParamInterface<UnusualVersion> {};

TEST_P(DialogWithVersion, ShowsAsMuchOfTheVersionAsFits)
{
    device.toMenu("1.4.2", GetParam().contents);
    device.turn(1);
    device.click();
    const ScreenPainter dialog =
        ScreenPainter().message(texts::factoryQuestion(GetParam().contents)).dialogButtons(Selection::First);
    EXPECT_TRUE(sameScreen(device->screen(), dialog.screen(), GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(Unusual, DialogWithVersion,
                         testing::Values(UnusualVersion{"NotAscii", "2.0-\xc3\xa9\x7f\x80\x01"},
                                         UnusualVersion{"ZeroByte", std::string("2\0x", 3)},
                                         UnusualVersion{"FillsTheScreen", std::string(300, 'v')},
                                         UnusualVersion{"ThreeMegabytes", std::string(3000000, 'w')}),
                         testing::PrintToStringParamName());

} // namespace
