#include "core/predicates/BooleanPredicate.h"
#include "core/predicates/ComparisonPredicate.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/values/Date.h"
#include "core/predicates/Expression.h"
#include "core/predicates/Predicate.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

#include <thread>

namespace ondrel {

namespace {

// A small model object: a few typed keys, and any other key read from a
// table of extra values (as entities read unknown keys from their metadata).
class PredicateSample : public Object {
    ONDREL_OBJECT(PredicateSample, Object)
public:
    static std::shared_ptr<PredicateSample> make(const QString& name, const QVariantMap& extra = {}) {
        auto s = std::make_shared<PredicateSample>();
        s->m_name = name;
        s->m_extra = extra;
        return s;
    }
    QString name() const { return m_name; }
    void setName(const QString& name) { setAndNotify("name", m_name, name); }
    QString type() const { return m_type; }
    void setType(const QString& type) { setAndNotify("type", m_type, type); }
    bool isFavorite() const { return m_favorite; }
    void setFavorite(bool favorite) { setAndNotify("favorite", m_favorite, favorite); }
    std::vector<std::shared_ptr<PredicateSample>> labels() const { return m_labels; }
    void setLabels(std::vector<std::shared_ptr<PredicateSample>> labels) { m_labels = std::move(labels); }

    QVariant valueForUndefinedKey(const QString& key) const override { return m_extra.value(key); }

private:
    QString m_name;
    QString m_type;
    bool m_favorite = false;
    std::vector<std::shared_ptr<PredicateSample>> m_labels;
    QVariantMap m_extra;
};

class OtherSample : public PredicateSample {
    ONDREL_OBJECT(OtherSample, PredicateSample)
};

} // namespace

const ClassInfo& PredicateSample::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<PredicateSample, Object>("PredicateSample")
            .property("name", &PredicateSample::name, &PredicateSample::setName)
            .property("type", &PredicateSample::type, &PredicateSample::setType)
            .property("favorite", &PredicateSample::isFavorite, &PredicateSample::setFavorite)
            .property("labels", &PredicateSample::labels);
    return info;
}

const ClassInfo& OtherSample::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<OtherSample, PredicateSample>("OtherSample");
    return info;
}

namespace {

std::shared_ptr<Predicate> parse(const QString& format, const QVariantList& arguments = {}) {
    VMKError error;
    auto p = Predicate::predicateWithFormat(format, arguments, &error);
    EXPECT_TRUE(p) << qPrintable(format) << ": " << qPrintable(error.localizedDescription());
    EXPECT_FALSE(error.isError());
    return p ? p : Predicate::falsePredicate();
}

bool holds(const QString& format, const QVariant& object, const QVariantList& arguments = {}) {
    return parse(format, arguments)->evaluateWithObject(object);
}

bool holds(const QString& format, const ObjectPtr& object, const QVariantList& arguments = {}) {
    return parse(format, arguments)->evaluateWithObject(object);
}

// Each row: a format, whether it holds for the object, and its arguments.
struct Check {
    const char* format;
    bool expected;
    QVariantList arguments = {};
};

template <typename Evaluated>
void expectEach(const Evaluated& object, std::initializer_list<Check> checks) {
    for (const Check& check : checks)
        EXPECT_EQ(holds(check.format, object, check.arguments), check.expected) << check.format;
}

std::shared_ptr<PredicateSample> label(const QString& type, double peak) {
    auto l = PredicateSample::make(type + " label", {{"peak", peak}});
    l->setType(type);
    return l;
}

} // namespace

// MARK: - The predicate texts the system uses

TEST(PredicateSystemTexts, EachTextOnItsSamples) {
    const ObjectPtr other = std::make_shared<OtherSample>();
    const QVariant rate48 = Variant::fromObject(PredicateSample::make("Take 1", {{"sampleRate", 48000}}));
    const QVariantMap favorite{{"name", "Normalize"}, {"category", "Level"}, {"favorite", true}, {"custom", false},
                               {"actionDescription", "Sets the peak level"}};
    // Flags as the database stores them: integers.
    const QVariantMap stored{{"name", "Fade In"}, {"category", "Fades"}, {"favorite", 1}, {"custom", qint64(1)},
                             {"actionDescription", "Raises the level"}};
    const char* search = "name CONTAINS[cd] %@ OR category CONTAINS[cd] %@ OR actionDescription CONTAINS[cd] %@";
    const char* joined = "favorite == YES AND (name CONTAINS[cd] %@ OR category CONTAINS[cd] %@ OR "
                         "actionDescription CONTAINS[cd] %@)";
    const QVariantList level{"LEVEL", "LEVEL", "LEVEL"};
    const QString id = "6F9619FF-8B86-D011-B42D-00CF4FC964FF";
    struct Row {
        const char* format;
        QVariantList arguments;
        QVariant sample;
        bool expected;
    };
    const Row rows[] = {
        // The files filter, on numbers of any kind; an absent key is no match.
        {"sampleRate == %@", {48000}, rate48, true},
        {"sampleRate == %@", {48000}, QVariantMap{{"sampleRate", 48000.0}}, true},
        {"sampleRate == %@", {48000}, QVariantMap{{"sampleRate", qint64(48000)}}, true},
        {"sampleRate == %@", {48000}, QVariantMap{{"sampleRate", 44100}}, false},
        {"sampleRate == %@", {48000}, QVariantMap{{"sampleRate", "48000"}}, false},
        {"sampleRate == %@", {48000}, Variant::fromObject(PredicateSample::make("group")), false},
        // The class of an entity, exactly: a subclass is another class.
        {"class == %@", {"PredicateSample"}, rate48, true},
        {"class == %@", {"PredicateSample"}, Variant::fromObject(other), false},
        {"class == %@", {"OtherSample"}, Variant::fromObject(other), true},
        {"class == %@", {"PredicateSample"}, QVariantMap{{"name", "a"}}, false},
        {"class == %@", {"PredicateSample"}, "PredicateSample", false},
        {"class == nil", {}, 42, true},
        // The name search, without case and diacritics.
        {"name CONTAINS[cd] %@", {"cafe"}, QVariantMap{{"name", "LATE CAFÉ"}}, true},
        {"name CONTAINS[cd] %@", {"cafe"}, QVariantMap{{"name", "Café Ambience"}}, true},
        {"name CONTAINS[cd] %@", {"cafe"}, QVariantMap{{"name", "Cave"}}, false},
        {"name CONTAINS[cd] %@", {"cafe"}, QVariantMap{}, false},
        // The library's categories and search, alone and joined by AND.
        {"favorite == YES", {}, favorite, true}, {"custom == YES", {}, favorite, false},
        {"favorite == YES", {}, stored, true}, {"custom == YES", {}, stored, true},
        {"favorite == YES", {}, QVariantMap{{"favorite", 0}}, false}, {"favorite == YES", {}, QVariantMap{}, false},
        {"category == %@", {"Fades"}, stored, true}, {"category == %@", {"fades"}, stored, false},
        {search, level, favorite, true}, {search, level, stored, true}, {joined, level, stored, true},
        {search, {"trim", "x", "y"}, QVariantMap{{"name", "Trim"}}, true},
        {joined, {"trim", "x", "y"}, QVariantMap{{"name", "Trim"}, {"favorite", 0}}, false},
        {"name CONTAINS[cd] %@ OR workflowDescription CONTAINS[cd] %@", {"loud", "loud"},
         QVariantMap{{"name", "Podcast"}, {"workflowDescription", "Loudness for speech"}}, true},
        // A process by its identifier, and the label kinds.
        {"ID = %@", {id}, QVariantMap{{"ID", id}}, true},
        {"ID = %@", {id}, QVariantMap{{"ID", "0A0A0A0A-8B86-D011-B42D-00CF4FC964FF"}}, false},
        {"type == \"marker\"", {}, QVariantMap{{"type", "marker"}}, true},
        {"type != \"marker\"", {}, QVariantMap{{"type", "loop"}}, true},
        {"type = %@", {"region"}, QVariantMap{{"type", "region"}}, true},
    };
    for (const Row& row : rows)
        EXPECT_EQ(holds(row.format, row.sample, row.arguments), row.expected)
            << row.format << " on " << qPrintable(Variant::describe(row.sample));
}

TEST(PredicateSystemTexts, CompoundsOfTheFiltersAndTheirTexts) {
    // The default files filter: an "and" compound of one comparison, written as that comparison.
    auto filter = Predicate::andPredicateWithSubpredicates({parse("sampleRate == %@", {48000})});
    EXPECT_EQ(filter->predicateFormat(), "sampleRate == 48000");
    // The files area: the name search AND the stored filter.
    auto joined = Predicate::andPredicateWithSubpredicates({parse("name CONTAINS[cd] %@", {"take"}), filter});
    EXPECT_TRUE(joined->evaluateWithObject(PredicateSample::make("Take 1", {{"sampleRate", 48000}})));
    EXPECT_FALSE(joined->evaluateWithObject(PredicateSample::make("Take 2", {{"sampleRate", 44100}})));
    EXPECT_FALSE(joined->evaluateWithObject(PredicateSample::make("Room", {{"sampleRate", 48000}})));

    // The waveform's "or" compound of the label kinds shown; with every kind off nothing matches.
    std::vector<std::shared_ptr<PredicateSample>> labels{label("marker", 0.1), label("slice", 0.2),
                                                         label("loop", 0.4), label("marker", 0.5)};
    auto shown = Predicate::orPredicateWithSubpredicates({parse("type == \"marker\""), parse("type == \"loop\"")});
    EXPECT_EQ(Predicate::filteredArray(labels, *shown).size(), 3u);
    EXPECT_EQ(shown->predicateFormat(), "type == \"marker\" OR type == \"loop\"");
    EXPECT_TRUE(Predicate::filteredArray(labels, *Predicate::orPredicateWithSubpredicates({})).empty());
}

// MARK: - Comparisons and values

TEST(PredicateComparison, NumbersCompareByValueAcrossKinds) {
    expectEach(QVariantMap{{"i", 3}, {"d", 2.5}, {"b", true}, {"big", qint64(1) << 40}, {"neg", -0.3}},
               {{"i == 3.0", true},
                {"i > d", true}, {"d < i && i >= 3 and i <= 3", true},
                {"i => 3 AND i =< 3 AND i <> 4 AND i != 2", true},
                {"b == 1 AND b == YES AND b == TRUE AND b != NO AND b > 0", true}, {"big == 1099511627776", true},
                {"big > 1e12 AND big < 1.1E12", true}, {"neg < -2.5e-1 AND neg > -.5 AND neg == -0.3", true},
                {"i == 0x3", true}, {"i == '3'", false},  // a text is not a number
                {"i < '4'", false}, {"3 == i", true}});
}

TEST(PredicateComparison, TextOperatorsAndOptions) {
    expectEach(QVariantMap{{"name", "Café Take 12"}},
               {{"name BEGINSWITH 'Café'", true},
                {"name BEGINSWITH 'cafe'", false}, {"name BEGINSWITH[c] 'cafe'", false},
                {"name BEGINSWITH[d] 'cafe'", false}, {"name BEGINSWITH[d] 'Cafe'", true},
                {"name BEGINSWITH[cd] 'CAFE'", true}, {"name BEGINSWITH[dc] 'cafe'", true},
                {"name ENDSWITH 'Take 12'", true}, {"name ENDSWITH[c] 'TAKE 12'", true}, {"name CONTAINS 'é T'", true},
                {"name CONTAINS 'e T'", false}, {"name ==[cd] 'cafe take 12'", true}, {"name == 'café take 12'", false},
                {"name ==[c] 'CAFÉ TAKE 12'", true}, {"name !=[c] 'CAFE TAKE 12'", true},
                {"name CONTAINS ''", false},  // an empty needle matches nothing
                {"name BEGINSWITH \"\"", false}, {"'B' < 'a'", true},  // ordering of texts, literal and with options
                {"'a' <[c] 'B'", true}});
}

TEST(PredicateComparison, LikeAndMatches) {
    expectEach(QVariantMap{{"name", "Take 7"}, {"star", "a*"}},
               {{"name LIKE 'Take ?'", true},
                {"name LIKE '*7'", true}, {"name LIKE 'T*e*'", true}, {"name LIKE '*'", true},
                {"name LIKE 'Take'", false},  // the whole text must match
                {"name LIKE 'take ?'", false}, {"name LIKE[c] 'take ?'", true}, {"name LIKE 'Take ?" "?'", false},
                {"star LIKE 'a\\\\*'", true},  // an escaped star is literal
                {"name LIKE 'T\\\\*'", false}, {"name MATCHES 'Take [0-9]+'", true},
                {"name MATCHES 'Take \\\\d'", true}, {"name MATCHES 'Take \\d'", true},  // an unknown escape is kept
                {"name MATCHES 'Take'", false}, {"name MATCHES 'take [0-9]'", false},
                {"name MATCHES[c] 'take [0-9]'", true}, {"'Résumé' MATCHES[d] 'Resume'", true},
                {"name MATCHES '('", false},  // a broken pattern matches nothing
                {"missing MATCHES '.*'", false}});
}

TEST(PredicateComparison, InBetweenAndCollections) {
    expectEach(QVariantMap{{"n", 5}, {"type", "loop"}, {"tags", QStringList{"drums", "Live"}},
                           {"values", QVariantList{1, 2.5, "x"}}},
               {{"n IN {1, 5, 9}", true},
                {"n IN {}", false}, {"type IN {'marker', 'loop'}", true},
                {"type IN %@", true, {QVariant(QVariantList{"region", "loop"})}},
                {"type IN %@", true, {QVariant(QStringList{"region", "loop"})}},
                {"type IN %@", false, {QVariant(QStringList{"region"})}}, {"type IN 'loops and regions'", true},
                {"type IN[c] 'LOOPS'", true}, {"type IN 'LOOPS'", false}, {"'live' IN[c] tags", true},
                {"tags CONTAINS 'drums'", true}, {"tags CONTAINS 'drum'", false}, {"tags CONTAINS[c] 'LIVE'", true},
                {"values CONTAINS 2.5", true}, {"n BETWEEN {5, 10}", true}, {"n BETWEEN {1, 5.0}", true},
                {"n BETWEEN {6, 10}", false}, {"n BETWEEN %@", true, {QVariant(QVariantList{4, 6})}},
                {"type BETWEEN {1, 10}", false}, {"type BETWEEN {'a', 'm'}", true}});
}

TEST(PredicateComparison, AbsentAndNullEqualOnlyNull) {
    const QVariantMap m{{"nothing", Variant::null()}, {"name", "x"}, {"zero", 0}, {"empty", ""}};
    for (const QString key : {"nothing", "missing"}) {
        SCOPED_TRACE(qPrintable(key));
        for (const char* format : {"%1 == nil", "%1 == NULL", "nil == %1", "%1 != 0", "NOT %1 < 1"})
            EXPECT_TRUE(holds(QString(format).arg(key), m)) << format;
        for (const char* format : {"%1 != nil", "%1 == 0", "%1 == ''", "%1 < 1", "%1 BETWEEN {0, 1}",
                                   "%1.deeper.still == 1"})
            EXPECT_FALSE(holds(QString(format).arg(key), m)) << format;
        for (const char* op : {"<", "<=", ">", ">=", "CONTAINS", "BEGINSWITH", "ENDSWITH", "LIKE", "MATCHES", "IN"})
            EXPECT_FALSE(holds(QString("%1 %2 'x'").arg(key, op), m)) << op;
    }
    expectEach(m, {{"nothing == missing", true},
                   {"zero == nil", false}, {"empty == nil", false}, {"name != nil", true},
                   {"name == %@", false, {QVariant()}}, {"missing == %@", true, {QVariant()}}});
    // Objects that lack a key behave the same.
    expectEach(ObjectPtr(PredicateSample::make("g")), {{"sampleRate > 0", false}, {"sampleRate == nil", true}});
}

TEST(PredicateComparison, DatesCompareChronologically) {
    const QDateTime early = Date::dateWithTimeIntervalSinceReferenceDate(700000000.0);
    const QDateTime late = early.addSecs(3600);
    expectEach(QVariantMap{{"date", late}}, {{"date > %@", true, {early}},
                                             {"date < %@", false, {early}}, {"date == %@", true, {late}},
                                             {"date BETWEEN %@", true, {QVariant(QVariantList{early, late})}},
                                             {"date > CAST(700000000, \"Date\")", true},
                                             {"date == CAST(700003600.0, 'Date')", true},
                                             {"date > 5", false}});  // a number is not a date
}

TEST(PredicateComparison, CollectionsAndAggregates) {
    auto sample = PredicateSample::make("song");
    sample->setLabels({label("marker", 0.2), label("loop", 0.9), label("region", 0.5)});
    const ObjectPtr s = sample, empty = PredicateSample::make("empty");
    expectEach(s, {{"ANY labels.type == 'loop'", true},
                   {"SOME labels.type == 'loop'", true}, {"ANY labels.type == 'slice'", false},
                   {"NONE labels.type == 'slice'", true}, {"NONE labels.type == 'marker'", false},
                   {"ALL labels.peak > 0.1", true}, {"ALL labels.peak > 0.3", false},
                   {"ANY labels.type BEGINSWITH[c] 'REG'", true}, {"labels.type CONTAINS 'loop'", true},
                   {"labels.type == 'loop'", false},  // a list is not a text
                   {"ANY name == 'song'", false},  // not a collection
                   {"ANY missing == 1", false}, {"labels.@count == 3", true}, {"labels.@max.peak == 0.9", true},
                   {"labels.@min.peak < 0.3", true}, {"labels.@avg.peak > 0.5 AND labels.@avg.peak < 0.54", true},
                   {"labels.@sum.peak BETWEEN {1.59, 1.61}", true},
                   {"SELF.name == 'song'", true},  // SELF: the evaluated value itself
                   {"SELF == %@", true, {Variant::fromObject(s)}},
                   {"SELF == %@", false, {Variant::fromObject(empty)}}});
    expectEach(empty, {{"ANY labels.type == 'loop'", false},
                       {"ALL labels.type == 'loop'", true}, {"labels.@count == 0", true},
                       {"labels.@max.peak == nil", true}});

    const QVariantList numbers{1, 2, 3, 4};
    EXPECT_EQ(Predicate::filteredArray(numbers, *parse("SELF > 2")), (QVariantList{3, 4}));
    EXPECT_EQ(Predicate::filteredArray(numbers, *parse("SELF IN {1, 3}")), (QVariantList{1, 3}));
    expectEach(numbers, {{"SELF.@count == 4 AND @count == 4 AND self.@max == 4", true}, {"ANY SELF == 2", true}});
    EXPECT_TRUE(holds("SELF BEGINSWITH[c] 'a'", "Apple"));

    // Nested key paths through dictionaries and objects.
    const QVariantMap nested{{"file", Variant::fromObject(s)}, {"meta", QVariantMap{{"artist", "Ann"}}}};
    EXPECT_TRUE(holds("file.name == 'song' AND meta.artist == 'Ann' AND file.labels.@count > 2", nested));
}

// MARK: - Syntax

TEST(PredicateSyntax, KeywordsIgnoreCaseAndPrecedence) {
    expectEach(QVariantMap{{"a", 1}, {"b", 2}, {"name", "Take"}, {"in", 3}},
               {{"name contains[CD] 'TAK' and not b == 3", true},
                {"truepredicate", true}, {"FalsePredicate", false},
                {"a == 1 OR a == 5 AND b == 9", true},  // AND binds tighter
                {"(a == 1 OR a == 5) AND b == 9", false}, {"NOT a == 1 AND b == 2", false},  // NOT binds tightest
                {"NOT (a == 1 AND b == 3)", true}, {"!(a == 2) && (b == 2 || b == 3)", true}, {"NOT NOT a == 1", true},
                {"((((a == 1))))", true}, {"  a==1&&b=2  ", true}, {"#in == 3", true}});
    EXPECT_TRUE(holds("name == \"Say \\\"hi\\\"\\n\"", QVariantMap{{"name", "Say \"hi\"\n"}}));
    expectEach(QVariantMap{{"name", "it's"}}, {{"name == 'it\\'s'", true}, {"name == \"it's\"", true}});
    EXPECT_TRUE(holds("name == '\\u00e9'", QVariantMap{{"name", "é"}}));
}

TEST(PredicateSyntax, Substitutions) {
    auto s = PredicateSample::make("Take 1", {{"sampleRate", 48000}, {"peak", 0.5}, {"frames", qint64(1) << 33}});
    s->setLabels({label("loop", 0.1)});
    expectEach(ObjectPtr(s), {{"%K == %@", true, {"name", "Take 1"}},
                              {"%K CONTAINS %@", true, {"labels.type", "loop"}},
                              {"name == %@ AND sampleRate == %@", true, {"Take 1", 48000}},
                              {"name == %@ AND sampleRate == %@", false, {48000, "Take 1"}},
                              {"sampleRate == %d", true, {48000}}, {"sampleRate == %i", true, {48000.0}},
                              {"sampleRate == %ld", true, {qint64(48000)}}, {"frames == %lld", true, {qint64(1) << 33}},
                              {"frames == %lu", true, {quint64(1) << 33}}, {"peak == %f", true, {0.5}},
                              {"peak < %f", true, {1}}, {"name == %s", true, {"Take 1"}},
                              {"name BEGINSWITH %@", true, {"Take"}}});
    // Quoted text takes %@ literally and %% as one percent sign; extra arguments are ignored.
    EXPECT_TRUE(holds("SELF == '%@'", "%@"));
    EXPECT_TRUE(holds("SELF == '100%%'", "100%"));
    EXPECT_TRUE(holds("SELF == %@", "a", {"a", "unused"}));
}

TEST(PredicateSyntax, GarbageIsRejectedWithAnError) {
    struct Case {
        QString format;
        QVariantList arguments;
        qsizetype position;          // -1: not checked
        const char* reasonPart = "";  // in the reason besides the position
    };
    const QString deep = QStringLiteral("(").repeated(100000) + "a == 1";
    const std::vector<Case> cases = {
        {"", {}, 0}, {"   ", {}, 3}, {"(name == 'a'", {}, 12}, {"name == 'a')", {}, 11},
        {"((a == 1) OR (b == 2)", {}, 21}, {"name ==", {}, 7}, {"name == 'a' AND", {}, 15}, {"name == 'a' &&", {}, 14},
        {"AND name == 'a'", {}, 0}, {"name == 'a' OR OR type == 'b'", {}, 15}, {"NOT", {}, 3}, {"ANY", {}, 3},
        {"name", {}, 4}, {"name === 'a'", {}, 7}, {"name FOO 'a'", {}, 5, "comparison operator"},
        {"name ~= 'a'", {}, 5}, {"name == 'abc", {}, 8}, {"name == \"abc", {}, 8}, {"name == 'abc\\", {}, 8},
        {"name == %@", {}, 8, "too few arguments"}, {"name == %@ OR type == %@", {"a"}, 22}, {"%K == 1", {}, 0},
        {"name == %z", {}, 8}, {"name == %%", {}, 8}, {"n == %", {}, 5}, {"name CONTAINS[x] 'a'", {}, 14},
        {"name CONTAINS[c 'a'", {}, 16}, {"n BETWEEN 3", {}, 10}, {"n BETWEEN {1, 2, 3}", {}, 10},
        {"n IN {1, 2", {}, 10}, {"n IN {1 2}", {}, 8}, {"name == 'a' name == 'b'", {}, 12}, {"()", {}, 1},
        {"== 'a'", {}, 0}, {"a.b. == 1", {}, 5}, {"1abc == 2", {}, 1}, {"$var == 1", {}, 0}, {"name == AND", {}, 8},
        {"a[0] == 1", {}, 1}, {"date > CAST('x', 'Date')", {}, 7}, {"date > CAST(1, 'Color')", {}, 15},
        {"CAST(", {}, 5}, {"name == %d", {"text"}, 8}, {"%K == 1", {5}, 0}, {"name == %s", {5}, 8},
        {"(a == '%1' %2", {}, 11, "\u201C%2\u201D (position 11 of \u201C(a == '%1' %2\u201D)"},
        {"name == %1 OR '%2'", {}, 8},
        // Numbers past what a double or a date holds, broken escapes, bytes that are not UTF-8.
        {"n == 1e999", {}, 5}, {"n == -1e-999", {}, 5}, {"n == 0xFFFFFFFFFFFFFFFFFF", {}, 5},
        {"date > CAST(1e300, 'Date')", {}, 7, "out of range"}, {"date > CAST(-1e300, 'Date')", {}, 7, "out of range"},
        {"name == 'a\\u12'", {}, 10}, {QString::fromUtf8("\xff\xfe == 1"), {}, 0},
        // Deep nesting is refused, not followed down the stack.
        {deep, {}, -1, "nests deeper"}, {QStringLiteral("NOT ").repeated(100000) + "a == 1", {}, -1, "nests deeper"},
        {QStringLiteral("a IN ") + QStringLiteral("{").repeated(100000), {}, -1, "nests deeper"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(qPrintable(c.format.left(60)));
        VMKError error;
        EXPECT_FALSE(Predicate::predicateWithFormat(c.format, c.arguments, &error));
        ASSERT_TRUE(error.isError());
        EXPECT_EQ(error.action(), "Parsing the predicate");
        EXPECT_TRUE(error.reason().contains("position")) << qPrintable(error.reason().left(200));
        EXPECT_TRUE(error.reason().contains(QString::fromUtf8(c.reasonPart))) << qPrintable(error.reason().left(200));
        EXPECT_EQ(error.userInfo().value("format").toString(), c.format);
        if (c.position >= 0) {
            EXPECT_EQ(error.userInfo().value("position").toLongLong(), c.position) << qPrintable(error.reason());
        }
        // No error slot: still no crash.
        EXPECT_FALSE(Predicate::predicateWithFormat(c.format, c.arguments));
    }
    EXPECT_TRUE(holds(QStringLiteral("(").repeated(50) + QStringLiteral("a == 1") + QStringLiteral(")").repeated(50),
                      QVariantMap{{"a", 1}}));
}

// MARK: - Text form and trees

TEST(PredicateFormat, RoundTripsToAnEqualPredicate) {
    const QDateTime date = Date::dateWithTimeIntervalSinceReferenceDate(700000000.5);
    const std::vector<std::pair<QString, QVariantList>> texts = {
        {"sampleRate == %@", {48000}}, {"name CONTAINS[cd] %@", {"caf\u00e9"}}, {"type == \"marker\"", {}},
        {"type != 'loop'", {}}, {"favorite == YES", {}}, {"custom == NO", {}},
        {"a == 1.5 AND (b == 2 OR c != 3) AND d <= -4", {}}, {"NOT (a == 1 OR b == 2)", {}}, {"NOT a == 1", {}},
        {"ANY labels.type == 'loop'", {}}, {"ALL labels.peak < 0.5", {}}, {"NONE labels.type ==[c] 'slice'", {}},
        {"name LIKE[c] 'take*'", {}}, {"name MATCHES 'Take \\\\d+'", {}},
        {"name ENDSWITH[d] 'e' OR name BEGINSWITH 'x'", {}}, {"x IN {1, 2.25, 'three'}", {}},
        {"x IN %@", {QVariant(QVariantList{"a", 2})}}, {"x BETWEEN {1, 10}", {}}, {"name == nil", {}},
        {"text == %@", {"quote \" back \\ percent % tab\t"}}, {"#in == 1 AND #Self.#and == 2", {}},
        {"labels.@count >= 2 AND labels.@max.peak > 0.5", {}}, {"SELF == 3", {}}, {"date > %@", {date}},
        {"TRUEPREDICATE", {}}, {"FALSEPREDICATE", {}}, {"x == %f", {3.0}}, {"x == %@", {1e300}},
    };
    const QVariantList samples{
        QVariantMap{{"sampleRate", 48000},
                    {"name", "Café"}, {"type", "loop"}, {"favorite", true}, {"a", 1.5}, {"b", 2}, {"d", -5},
                    {"x", 2.25}, {"text", "quote \" back \\ percent % tab\t"}, {"in", 1},
                    {"Self", QVariantMap{{"and", 2}}}, {"date", date.addSecs(1)}},
        QVariantMap{{"sampleRate", 44100},
                    {"name", "take 1"}, {"type", "slice"}, {"custom", false}, {"x", 3.0}, {"c", 3}, {"d", 9}},
        QVariantMap{},
        3,
    };
    for (const auto& [text, arguments] : texts) {
        auto first = parse(text, arguments);
        const QString format = first->predicateFormat();
        auto second = parse(format);
        EXPECT_TRUE(second->isEqual(*first))
            << qPrintable(text) << " -> " << qPrintable(format) << " -> " << qPrintable(second->predicateFormat());
        EXPECT_EQ(second->predicateFormat(), format) << qPrintable(text);
        for (const QVariant& sample : samples)
            EXPECT_EQ(first->evaluateWithObject(sample), second->evaluateWithObject(sample))
                << qPrintable(text) << " on " << qPrintable(Variant::describe(sample));
    }
    EXPECT_EQ(parse("name contains[cd] %@", {"x"})->predicateFormat(), "name CONTAINS[cd] \"x\"");
    EXPECT_EQ(parse("a = 1 && b <> 2 || !c =< 3")->predicateFormat(), "(a == 1 AND b != 2) OR NOT c <= 3");
    EXPECT_EQ(parse("x == 2.0")->predicateFormat(), "x == 2.0");
    EXPECT_EQ(parse("NONE a == 1")->predicateFormat(), "NOT ANY a == 1");
}

TEST(PredicateFormat, Builders) {
    EXPECT_EQ(Predicate::andPredicateWithSubpredicates({})->predicateFormat(), "TRUEPREDICATE");
    EXPECT_TRUE(Predicate::andPredicateWithSubpredicates({})->evaluateWithObject(QVariant()));
    EXPECT_EQ(Predicate::orPredicateWithSubpredicates({})->predicateFormat(), "FALSEPREDICATE");
    EXPECT_FALSE(Predicate::orPredicateWithSubpredicates({})->evaluateWithObject(QVariant()));
    auto negated = Predicate::notPredicateWithSubpredicate(Predicate::falsePredicate());
    EXPECT_TRUE(negated->evaluateWithObject(QVariant()));
    EXPECT_EQ(negated->predicateFormat(), "NOT FALSEPREDICATE");

    // Built by hand from expressions.
    ComparisonPredicate built(Expression::expressionForKeyPath("labels.type"),
                              Expression::expressionForConstantValue("LOOP"),
                              ComparisonPredicate::ComparisonPredicateModifier::Any,
                              ComparisonPredicate::PredicateOperatorType::EqualTo,
                              ComparisonPredicate::CaseInsensitivePredicateOption);
    EXPECT_EQ(built.predicateFormat(), "ANY labels.type ==[c] \"LOOP\"");
    auto s = PredicateSample::make("s");
    s->setLabels({label("loop", 0.1)});
    EXPECT_TRUE(built.evaluateWithObject(ObjectPtr(s)));
}

TEST(PredicateEvaluation, FirstUsedByTwoThreadsAtOnce) {
    // The pattern behind MATCHES is made on first use: two threads using a
    // fresh predicate at once must both get every answer right.
    const QString text = "name MATCHES[c] 'take [0-9]+' AND name CONTAINS[cd] %@";
    QVariantList samples;
    for (int i = 0; i < 200; ++i)
        samples << QVariantMap{{"name", QStringLiteral("Take %1%2").arg(i).arg(i % 3 ? "" : "x")}};
    auto p = parse(text, {"TAKE"});
    qsizetype other = -1;
    std::thread thread([&] { other = Predicate::filteredArray(samples, *p).size(); });
    const qsizetype here = Predicate::filteredArray(samples, *p).size();
    thread.join();
    EXPECT_EQ(here, 133);
    EXPECT_EQ(other, 133);
}

} // namespace ondrel
