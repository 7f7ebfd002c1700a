#include "tests/actions/ActionTest.h"

namespace ondrel {

namespace {

using ExtractChannelsActionTest = ActionTest;

// One mono output per channel: channel p of the main source alone goes to
// the output's channel 0, and the name gets the channel's abbreviation after
// the delimiter. A count without a usual layout (ten channels) is named by
// number instead of failing. Both classes that do this behave alike.
TEST_F(ExtractChannelsActionTest, EachChannelBecomesOneNamedMonoOutput) {
    struct Case {
        int channels;
        QStringList names;
    };
    QStringList byNumber;
    for (int n = 1; n <= 10; ++n)
        byNumber << QStringLiteral("Take.%1").arg(n);
    const Case cases[] = {
        {2, {QStringLiteral("Take.L"), QStringLiteral("Take.R")}},
        {1, {QStringLiteral("Take.C")}},
        {10, byNumber},
    };
    for (const char* className : {"ExtractChannelsAction", "DeinterleaveAction"}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(className) + " of " + std::to_string(c.channels));
            const auto file = waveFile(QStringLiteral("take%1.wav").arg(c.channels), c.channels, 16);
            ASSERT_TRUE(file);
            const auto action = make(QString::fromLatin1(className));
            action->setValueForKey(QStringLiteral("."), QStringLiteral("suffixDelimiter"));
            ASSERT_EQ(action->numberOfProcessesForFileEntity(file), c.channels);

            for (int process = 0; process < c.channels; ++process) {
                const auto sources = sourcesOf(file);
                action->compileSourceInstructions(sources, process);
                const auto main = sources->mainSourceInstructions();
                ASSERT_EQ(main->countOfSourceTieInstructions(), 1);
                EXPECT_EQ(main->objectInSourceTieInstructionsAtIndex(0)->inputChannelIndex(), quint64(process));
                EXPECT_EQ(main->objectInSourceTieInstructionsAtIndex(0)->outputChannelIndex(), 0u);
                EXPECT_EQ(compile({action}, file, nullptr, process)->numberOfChannels(), 1);
                EXPECT_EQ(action->filenameForProposedFilename(QStringLiteral("Take"), file, process),
                          c.names.value(process));
            }
        }
    }
}

} // namespace

} // namespace ondrel
