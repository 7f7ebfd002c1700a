#ifdef ONDREL_TEST_REGISTRATION_HEADER
#include ONDREL_TEST_REGISTRATION_HEADER
#endif

#include <QtCore/QCoreApplication>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

// Every suite runs with a Qt event loop on the main thread (the main queue)
// and, unless a test makes its own, a private ONDREL_HOME that is removed at
// the end, so nothing touches the user's files. Like the program, a suite
// makes the classes of the libraries it tests findable by name before its
// first test.
int main(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("ONDREL_HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", home.filePath(QStringLiteral("data")).toUtf8());
    QCoreApplication app(argc, argv);
#ifdef ONDREL_TEST_REGISTRATION
    ondrel::ONDREL_TEST_REGISTRATION();
#endif
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
