#include "core/objects/Object.h"
#include "core/storage/PropertyList.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace ondrel {

namespace {

QVariant roundTrip(const QVariant& value) {
    VMKError error;
    const QByteArray data = PropertyList::dataWithPropertyList(value, &error);
    EXPECT_FALSE(error) << error.localizedDescription().toStdString();
    EXPECT_FALSE(data.isEmpty());
    const QVariant back = PropertyList::propertyListWithData(data, &error);
    EXPECT_FALSE(error) << error.localizedDescription().toStdString() << "\n" << data.toStdString();
    return back;
}

QByteArray document(const char* body) {
    return QByteArray(
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
               "<plist version=\"1.0\">\n") +
           body + "\n</plist>\n";
}

VMKError readError(const QByteArray& data) {
    VMKError error;
    const QVariant value = PropertyList::propertyListWithData(data, &error);
    EXPECT_FALSE(value.isValid()) << data.toStdString();
    EXPECT_TRUE(error.isError()) << data.toStdString();
    return error;
}

QByteArray allBytes() {
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes.append(char(i));
    return bytes;
}

} // namespace

TEST(PropertyList, ScalarsKeepTheirKindsAndValues) {
    const QDateTime date(QDate(2023, 7, 14), QTime(9, 26, 53, 589), Qt::UTC);
    const double inf = std::numeric_limits<double>::infinity();
    struct Row {
        QVariant value;
        QMetaType::Type kind;  // read back
        QVariant expected;     // when it differs from the value
    };
    const Row rows[] = {
        {true, QMetaType::Bool, {}}, {false, QMetaType::Bool, {}}, {42, QMetaType::LongLong, qint64(42)},
        {QVariant::fromValue<short>(-7), QMetaType::LongLong, qint64(-7)},
        {qint64(-9'000'000'000'000LL), QMetaType::LongLong, {}},
        {std::numeric_limits<qint64>::min(), QMetaType::LongLong, {}},
        {std::numeric_limits<quint64>::max(), QMetaType::ULongLong, {}},
        {0.1, QMetaType::Double, {}}, {3.0, QMetaType::Double, {}}, {5e-324, QMetaType::Double, {}},
        {QVariant::fromValue(1.5f), QMetaType::Double, 1.5}, {inf, QMetaType::Double, {}},
        {-inf, QMetaType::Double, {}}, {date, QMetaType::QDateTime, {}}, {"text", QMetaType::QString, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Variant::describe(row.value).toStdString());
        const QVariant back = roundTrip(QVariantList{row.value}).toList().value(0);
        EXPECT_EQ(back.typeId(), row.kind);
        EXPECT_EQ(back, row.expected.isValid() ? row.expected : row.value);
    }
    EXPECT_EQ(roundTrip(date).toDateTime().timeSpec(), Qt::UTC);
    EXPECT_TRUE(std::isnan(roundTrip(std::numeric_limits<double>::quiet_NaN()).toDouble()));
}

TEST(PropertyList, DatesAreWrittenInUtcWithZ) {
    const QDateTime whole(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    const QDateTime offset = QDateTime(QDate(2020, 2, 29), QTime(23, 59, 59, 7), Qt::OffsetFromUTC, 2 * 3600);
    const QByteArray data = PropertyList::dataWithPropertyList(QVariantList{whole, offset});
    EXPECT_TRUE(data.contains("<date>2001-01-01T00:00:00Z</date>")) << data.toStdString();
    EXPECT_TRUE(data.contains("<date>2020-02-29T21:59:59.007Z</date>")) << data.toStdString();
    const QVariantList back = PropertyList::propertyListWithData(data).toList();
    ASSERT_EQ(back.size(), 2);
    EXPECT_EQ(back[1].toDateTime().toMSecsSinceEpoch(), offset.toMSecsSinceEpoch());
}

TEST(PropertyList, DataKeepsEveryByteInWrappedLines) {
    QByteArray big;
    for (int i = 0; i < 40; ++i)
        big += allBytes();
    const QVariantList list{allBytes(), QByteArray(), QByteArray(1, '\0'), big};
    const QByteArray data = PropertyList::dataWithPropertyList(list);
    for (const QByteArray& line : data.split('\n')) {
        if (!line.contains('<')) {
            EXPECT_LE(line.size(), 80) << "unwrapped line of " << line.size();
        }
    }
    const QVariantList back = PropertyList::propertyListWithData(data).toList();
    ASSERT_EQ(back.size(), list.size());
    for (qsizetype i = 0; i < list.size(); ++i) {
        EXPECT_EQ(back[i].typeId(), QMetaType::QByteArray);
        EXPECT_EQ(back[i].toByteArray(), list[i].toByteArray()) << "element " << i;
    }
}

TEST(PropertyList, TextKeepsUnicodeAndXmlSpecialCharacters) {
    const QString tricky = "<a href=\"x\">&amp; 'q' ]]> Grüße 日本語 🎵\ttab\nline\r\nwindows\rcr  ";
    QVariantMap map{
        {tricky, tricky}, {"&<>\"'", ""}, {"", "   "}, {"🎵", "\n"},
    };
    const QVariantMap back = roundTrip(map).toMap();
    EXPECT_TRUE(Variant::equal(back, map)) << Variant::describe(back).toStdString();
    EXPECT_EQ(back.value(tricky).toString(), tricky);
}

TEST(PropertyList, NestedContainersRoundTrip) {
    const QVariantMap inner{{"name", "a"}, {"gain", -3.5}};
    const QVariantList records{inner, QVariantMap{}, QVariantMap{{"list", QVariantList{}}},
                               QVariantList{QVariantList{QVariantList{1, 2}}, QStringList{"s"}}};
    QVariantHash hash;
    hash.insert("h", 1);
    const QVariantMap root{
        {"records", records}, {"empty", QVariantMap{}}, {"emptyList", QVariantList{}}, {"hash", hash}};
    const QVariant back = roundTrip(root);
    EXPECT_EQ(back.typeId(), QMetaType::QVariantMap);
    EXPECT_TRUE(Variant::equal(back, root)) << Variant::describe(back).toStdString();
    const QVariantList backRecords = back.toMap().value("records").toList();
    ASSERT_EQ(backRecords.size(), 4);
    EXPECT_EQ(backRecords[1].typeId(), QMetaType::QVariantMap);
    EXPECT_EQ(backRecords[3].toList()[0].toList()[0].toList()[1].toLongLong(), 2);

    // A bare scalar root is a document too.
    EXPECT_EQ(roundTrip("only").toString(), "only");
    EXPECT_EQ(roundTrip(QVariantList{}).typeId(), QMetaType::QVariantList);
}

TEST(PropertyList, DocumentHasTheUsualShape) {
    const QByteArray data = PropertyList::dataWithPropertyList(QVariantMap{{"b", 1}, {"a", QVariantList{true}}});
    const QByteArray expected = document(
        "<dict>\n"
        "\t<key>a</key>\n"
        "\t<array>\n"
        "\t\t<true/>\n"
        "\t</array>\n"
        "\t<key>b</key>\n"
        "\t<integer>1</integer>\n"
        "</dict>");
    EXPECT_EQ(data.toStdString(), expected.toStdString());
}

TEST(PropertyList, ValuesWithoutAFormAreRefused) {
    class Thing : public Object {};
    const auto thing = std::make_shared<Thing>();
    const QList<QVariant> bad{
        QVariant(),
        Variant::null(),
        Variant::fromObject(thing),
        QVariantMap{{"deep", QVariantList{1, Variant::null()}}},
        QVariantMap{{"absent", QVariant()}},
        "bell \a",
        QString(QChar(0xD800)),
        QDateTime(),
        QDateTime(QDate(12000, 1, 1), QTime(0, 0), Qt::UTC),  // valid, but past what ISO 8601 text holds
        QDateTime(QDate(-44, 3, 15), QTime(12, 0), Qt::UTC),
    };
    for (const QVariant& value : bad) {
        VMKError error;
        EXPECT_TRUE(PropertyList::dataWithPropertyList(value, &error).isNull())
            << Variant::describe(value).toStdString();
        EXPECT_TRUE(error.isError());
        EXPECT_EQ(error.code(), PropertyList::WriteInvalidError);
        EXPECT_FALSE(error.reason().isEmpty());
        EXPECT_FALSE(PropertyList::isPropertyList(value));
    }
    VMKError error;
    PropertyList::dataWithPropertyList(QVariantMap{{"deep", QVariantList{1, Variant::null()}}}, &error);
    EXPECT_TRUE(error.reason().contains("null marker")) << error.reason().toStdString();
    EXPECT_TRUE(error.reason().contains("deep/1")) << error.reason().toStdString();
    EXPECT_TRUE(PropertyList::isPropertyList(QVariantMap{{"a", QVariantList{1, 2.5, QByteArray()}}}));
}

TEST(PropertyList, MalformedDocumentsAreRejectedWithTheirLine) {
    struct Case {
        QByteArray data;
        const char* reasonPart;
    };
    const QByteArray good = PropertyList::dataWithPropertyList(QVariantMap{{"k", QVariantList{1, "two"}}});
    const QByteArray laughs =
        "<?xml version=\"1.0\"?>\n<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\">"
        "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
        "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
        "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\"><!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\">]>\n"
        "<plist version=\"1.0\"><string>&g;</string></plist>";
    const QByteArray digits(100000, '9');
    const std::vector<Case> cases{
        // Not a document, or cut short.
        {QByteArray(), ""}, {QByteArray("not xml at all"), ""}, {QByteArray("\x00\x01garbage", 9), ""},
        {good.left(good.size() / 2), ""}, {"<?xml version=\"1.0\"", ""}, {document("<dict>\n<key>a</key>\n<str"), ""},
        {document("<array>\n<string>a</string>"), ""}, {QByteArray("<?xml version=\"1.0\"?>\n<dict></dict>\n"), "<plist>"},
        {document(""), "no value"}, {document("<string>a</string>\n<string>b</string>"), "more than one"},
        // Elements where they do not belong.
        {document("<dict>\n<key>a</key>\n<integer>1</integer>\n<string>loose</string>\n</dict>"), "<key>"},
        {document("<dict><integer>1</integer></dict>"), "<key>"}, {document("<dict>\n<key>a</key>\n</dict>"), "no value"},
        {document("<dict>\n<key>a</key><true/>\n<key>a</key><false/>\n</dict>"), "twice"},
        {document("<array>\n<integer>1</integer>\n<color>red</color>\n</array>"), "unknown element <color>"},
        {document("<array><key>a</key></array>"), "unknown element <key>"},
        {document("<plist><string>a</string></plist>"), "unknown element <plist>"},
        {document("<true>yes</true>"), "holds text"}, {document("<string>a<b/>c</string>"), ""},
        {document("<array>stray text</array>"), "unexpected text"},
        // Values that do not read as their kind, or are too big for it.
        {document("<array>\n<integer>12a</integer>\n</array>"), "not an integer"},
        {document("<integer></integer>"), "not an integer"},
        {document("<integer>99999999999999999999999</integer>"), "not an integer"},
        {document("<integer>18446744073709551616</integer>"), "not an integer"},
        {document("<integer>-9223372036854775809</integer>"), "out of range"},
        {document("<integer>" + digits + "</integer>"), "not an integer"},
        {document("<real>1.5.2</real>"), "not a real"}, {document("<real>1e999</real>"), "not a real"},
        {document("<real>" + digits + "</real>"), "not a real"},
        {document("<date>yesterday</date>"), "not an ISO 8601 date"},
        {document("<date>2020-13-40T00:00:00Z</date>"), "not an ISO 8601 date"},
        {document("<date>99999-01-01T00:00:00Z</date>"), "not an ISO 8601 date"},
        {document("<data>!!!not base64!!!</data>"), "base64"},
        // Text that is not UTF-8, or not characters.
        {document("<string>\xff\xfe</string>"), "incorrectly encoded"}, {document("<string>\xc3</string>"), ""},
        {document(QByteArray("<string>a\0b</string>", 20)), ""}, {document("<string>&#0;</string>"), ""},
        {document("<string>&#xD800;</string>"), ""}, {document("<string>&undefined;</string>"), ""},
        {laughs, "expansion limit"},
        // Nesting deep enough to run a recursive reader off its stack.
        {document(QByteArray("<array>").repeated(100000)), "deeper"},
        {document(QByteArray("<dict><key>k</key>").repeated(100000)), "deeper"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.data.left(200).toStdString());
        const VMKError error = readError(c.data);
        EXPECT_EQ(error.code(), PropertyList::ReadCorruptError);
        EXPECT_TRUE(error.reason().startsWith("line ")) << error.reason().toStdString();
        EXPECT_TRUE(error.reason().contains(QLatin1String(c.reasonPart))) << error.reason().left(200).toStdString();
    }
    // The line points at the fault.
    const VMKError error =
        readError(document("<array>\n<integer>1</integer>\n<integer>2</integer>\n<integer>x</integer>\n</array>"));
    EXPECT_EQ(error.userInfo().value("line").toLongLong(), 7) << error.reason().toStdString();
    // Nesting the writer makes is read back.
    QVariant nested = QVariantList{1};
    for (int i = 0; i < 200; ++i)
        nested = QVariantList{nested};
    EXPECT_TRUE(Variant::equal(roundTrip(nested), nested));
}

TEST(PropertyList, ReadsLenientForms) {
    const QVariantList back = PropertyList::propertyListWithData(document("<!-- a comment -->\n"
                                                                          "<array>\n"
                                                                          "  <integer> 0x1F </integer>\n"
                                                                          "  <integer>+5</integer>\n"
                                                                          "  <real>2</real>\n"
                                                                          "  <date>2001-01-01T01:00:00+01:00</date>\n"
                                                                          "  <data>\n  AAEC\n  /w==\n  </data>\n"
                                                                          "  <string/>\n"
                                                                          "  <dict/>\n"
                                                                          "</array>"))
                                  .toList();
    ASSERT_EQ(back.size(), 7);
    EXPECT_EQ(back[0].toLongLong(), 31);
    EXPECT_EQ(back[1].toLongLong(), 5);
    EXPECT_EQ(back[2].typeId(), QMetaType::Double);
    EXPECT_EQ(back[3].toDateTime(), QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(back[4].toByteArray(), QByteArray("\x00\x01\x02\xff", 4));
    EXPECT_EQ(back[5].toString(), QString());
    EXPECT_EQ(back[6].typeId(), QMetaType::QVariantMap);
}

TEST(PropertyList, FilesAreWrittenAtomicallyAndReadBack) {
    TemporaryHome home;
    const QString path = home.filePath("values.plist");
    const QVariantMap value{{"k", QVariantList{1, "two"}}};
    VMKError error;
    ASSERT_TRUE(PropertyList::writeToFile(value, path, &error)) << error.localizedDescription().toStdString();
    EXPECT_TRUE(Variant::equal(PropertyList::readFromFile(path, &error), value));

    // A failed write leaves the old file whole.
    EXPECT_FALSE(PropertyList::writeToFile(QVariantMap{{"k", Variant::null()}}, path, &error));
    EXPECT_EQ(error.code(), PropertyList::WriteInvalidError);
    EXPECT_TRUE(Variant::equal(PropertyList::readFromFile(path), value));

    error = VMKError();
    EXPECT_FALSE(PropertyList::readFromFile(home.filePath("missing.plist"), &error).isValid());
    EXPECT_EQ(error.code(), PropertyList::FileReadError);
    EXPECT_TRUE(error.reason().contains("missing.plist"));

    error = VMKError();
    EXPECT_FALSE(PropertyList::writeToFile(value, home.filePath("no/such/folder/x.plist"), &error));
    EXPECT_EQ(error.code(), PropertyList::FileWriteError);

    writeFile(home.filePath("broken.plist"), document("<dict>\n<key>a</key>\n"));
    error = VMKError();
    EXPECT_FALSE(PropertyList::readFromFile(home.filePath("broken.plist"), &error).isValid());
    EXPECT_EQ(error.code(), PropertyList::ReadCorruptError);
    EXPECT_TRUE(error.reason().contains("broken.plist")) << error.reason().toStdString();
}

} // namespace ondrel
