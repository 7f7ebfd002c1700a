#include "core/BooleanPredicate.h"
#include "core/ComparisonPredicate.h"
#include "core/CompoundPredicate.h"
#include "core/Date.h"
#include "core/Expression.h"
#include "core/Predicate.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

#include <atomic>
#include <thread>

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
    void setName(const QString& name) { setAndNotify(QStringLiteral("name"), m_name, name); }
    QString type() const { return m_type; }
    void setType(const QString& type) { setAndNotify(QStringLiteral("type"), m_type, type); }
    bool isFavorite() const { return m_favorite; }
    void setFavorite(bool favorite) { setAndNotify(QStringLiteral("favorite"), m_favorite, favorite); }
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
        ClassInfo::define<PredicateSample, Object>(QStringLiteral("PredicateSample"))
            .property(QStringLiteral("name"), &PredicateSample::name, &PredicateSample::setName)
            .property(QStringLiteral("type"), &PredicateSample::type, &PredicateSample::setType)
            .property(QStringLiteral("favorite"), &PredicateSample::isFavorite, &PredicateSample::setFavorite)
            .property(QStringLiteral("labels"), &PredicateSample::labels);
    return info;
}

const ClassInfo& OtherSample::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<OtherSample, PredicateSample>(QStringLiteral("OtherSample"));
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

std::shared_ptr<PredicateSample> label(const QString& type, double peak) {
    auto l = PredicateSample::make(type + QStringLiteral(" label"), {{QStringLiteral("peak"), peak}});
    l->setType(type);
    return l;
}

} // namespace

// MARK: - The predicate texts the system uses

TEST(PredicateSystemTexts, SampleRateFilterWithIntegerArgument) {
    auto p = parse(QStringLiteral("sampleRate == %@"), {48000});
    EXPECT_TRUE(p->evaluateWithObject(PredicateSample::make("a", {{"sampleRate", 48000}})));
    EXPECT_TRUE(p->evaluateWithObject(PredicateSample::make("b", {{"sampleRate", 48000.0}})));
    EXPECT_TRUE(p->evaluateWithObject(PredicateSample::make("c", {{"sampleRate", qint64(48000)}})));
    EXPECT_FALSE(p->evaluateWithObject(PredicateSample::make("d", {{"sampleRate", 44100}})));
    EXPECT_FALSE(p->evaluateWithObject(PredicateSample::make("group")));  // no such key: absent
    EXPECT_FALSE(p->evaluateWithObject(QVariant(QVariantMap{{"sampleRate", "48000"}})));

    // The default files filter: an "and" compound of that one comparison.
    auto filter = Predicate::andPredicateWithSubpredicates({p});
    EXPECT_EQ(filter->subpredicates().size(), 1u);
    EXPECT_TRUE(filter->evaluateWithObject(PredicateSample::make("a", {{"sampleRate", 48000}})));
    EXPECT_FALSE(filter->evaluateWithObject(PredicateSample::make("d", {{"sampleRate", 96000}})));
    EXPECT_EQ(filter->predicateFormat(), QStringLiteral("sampleRate == 48000"));
}

TEST(PredicateSystemTexts, ClassComparesTheExactClassName) {
    const ObjectPtr sample = PredicateSample::make("a");
    const ObjectPtr other = std::make_shared<OtherSample>();
    auto p = parse(QStringLiteral("class == %@"), {QStringLiteral("PredicateSample")});
    EXPECT_TRUE(p->evaluateWithObject(sample));
    EXPECT_FALSE(p->evaluateWithObject(other));  // a subclass is another class
    EXPECT_TRUE(holds(QStringLiteral("class == %@"), other, {QStringLiteral("OtherSample")}));
    EXPECT_FALSE(p->evaluateWithObject(QVariant(QVariantMap{{"name", "a"}})));
    EXPECT_FALSE(p->evaluateWithObject(QVariant(QStringLiteral("PredicateSample"))));
    EXPECT_TRUE(holds(QStringLiteral("class == nil"), QVariant(42)));

    const QVariantList mixed{Variant::fromObject(sample), Variant::fromObject(other), QVariantMap{}};
    const QVariantList files = Predicate::filteredArray(mixed, *p);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(Variant::object(files[0]), sample);
}

TEST(PredicateSystemTexts, NameSearchIgnoresCaseAndDiacritics) {
    auto p = parse(QStringLiteral("name CONTAINS[cd] %@"), {QStringLiteral("cafe")});
    EXPECT_TRUE(p->evaluateWithObject(PredicateSample::make(QStringLiteral("Café Ambience"))));
    EXPECT_TRUE(p->evaluateWithObject(PredicateSample::make(QStringLiteral("LATE CAFÉ"))));
    EXPECT_TRUE(p->evaluateWithObject(PredicateSample::make(QStringLiteral("cafe"))));
    EXPECT_FALSE(p->evaluateWithObject(PredicateSample::make(QStringLiteral("Cave"))));
    EXPECT_FALSE(p->evaluateWithObject(QVariant(QVariantMap{})));
}

TEST(PredicateSystemTexts, LabelTypeFilters) {
    std::vector<std::shared_ptr<PredicateSample>> labels{
        label("marker", 0.1), label("slice", 0.2), label("region", 0.3), label("loop", 0.4), label("marker", 0.5)};
    auto count = [&](const QString& format, const QVariantList& arguments = {}) {
        return Predicate::filteredArray(labels, *parse(format, arguments)).size();
    };
    EXPECT_EQ(count(QStringLiteral("type == \"marker\"")), 2u);
    EXPECT_EQ(count(QStringLiteral("type == \"slice\"")), 1u);
    EXPECT_EQ(count(QStringLiteral("type == \"region\"")), 1u);
    EXPECT_EQ(count(QStringLiteral("type == \"loop\"")), 1u);
    EXPECT_EQ(count(QStringLiteral("type = %@"), {QStringLiteral("region")}), 1u);
    EXPECT_EQ(count(QStringLiteral("type != \"marker\"")), 3u);
    EXPECT_EQ(count(QStringLiteral("type != \"slice\"")), 4u);
    EXPECT_EQ(count(QStringLiteral("type != \"region\"")), 4u);
    EXPECT_EQ(count(QStringLiteral("type != \"loop\"")), 4u);
    EXPECT_EQ(count(QStringLiteral("TRUEPREDICATE")), 5u);
    auto loops = Predicate::filteredArray(labels, *parse(QStringLiteral("type == \"loop\"")));
    ASSERT_EQ(loops.size(), 1u);
    EXPECT_EQ(loops.front(), labels[3]);

    // The waveform's "or" compound of the kinds that are shown.
    auto shown = Predicate::orPredicateWithSubpredicates(
        {parse(QStringLiteral("type == \"marker\"")), parse(QStringLiteral("type == \"loop\""))});
    EXPECT_EQ(Predicate::filteredArray(labels, *shown).size(), 3u);
    EXPECT_EQ(shown->predicateFormat(), QStringLiteral("type == \"marker\" OR type == \"loop\""));
    // With every kind off the list is empty, and nothing matches.
    auto none = Predicate::orPredicateWithSubpredicates({});
    EXPECT_EQ(Predicate::filteredArray(labels, *none).size(), 0u);
}

TEST(PredicateSystemTexts, LibraryCategoriesAndSearch) {
    const QVariantMap favorite{{"name", "Normalize"},
                               {"category", "Level"},
                               {"favorite", true},
                               {"custom", false},
                               {"actionDescription", "Sets the peak level"}};
    const QVariantMap stored{{"name", "Fade In"},
                             {"category", "Fades"},
                             {"favorite", 1},
                             {"custom", qint64(1)},
                             {"actionDescription", "Raises the level"}};
    const QVariantMap plain{{"name", "Trim"},
                            {"category", "Edit"},
                            {"favorite", 0},
                            {"custom", false},
                            {"actionDescription", "Cuts silence at the ends"}};
    EXPECT_TRUE(holds(QStringLiteral("favorite == YES"), favorite));
    EXPECT_TRUE(holds(QStringLiteral("favorite == YES"), stored));  // a database integer 1
    EXPECT_FALSE(holds(QStringLiteral("favorite == YES"), plain));
    EXPECT_FALSE(holds(QStringLiteral("favorite == YES"), QVariantMap{}));
    EXPECT_FALSE(holds(QStringLiteral("custom == YES"), favorite));
    EXPECT_TRUE(holds(QStringLiteral("custom == YES"), stored));
    EXPECT_TRUE(holds(QStringLiteral("category == %@"), stored, {QStringLiteral("Fades")}));
    EXPECT_FALSE(holds(QStringLiteral("category == %@"), stored, {QStringLiteral("fades")}));

    const QString search = QStringLiteral("name CONTAINS[cd] %@ OR category CONTAINS[cd] %@ OR "
                                          "actionDescription CONTAINS[cd] %@");
    auto level = parse(search, {"LEVEL", "LEVEL", "LEVEL"});
    EXPECT_TRUE(level->evaluateWithObject(QVariant(favorite)));  // category and description
    EXPECT_TRUE(level->evaluateWithObject(QVariant(stored)));    // description only
    EXPECT_FALSE(level->evaluateWithObject(QVariant(plain)));
    EXPECT_TRUE(holds(search, plain, {"trim", "x", "y"}));
    EXPECT_TRUE(holds(search, plain, {"x", "EDI", "y"}));

    // The category joined by AND with the search, as the library pane does.
    auto joined = Predicate::andPredicateWithSubpredicates({parse(QStringLiteral("favorite == YES")), level});
    EXPECT_TRUE(joined->evaluateWithObject(QVariant(favorite)));
    EXPECT_TRUE(joined->evaluateWithObject(QVariant(stored)));
    EXPECT_FALSE(joined->evaluateWithObject(QVariant(plain)));

    EXPECT_TRUE(holds(QStringLiteral("name CONTAINS[cd] %@ OR workflowDescription CONTAINS[cd] %@"),
                      QVariantMap{{"name", "Podcast"}, {"workflowDescription", "Loudness for speech"}},
                      {"loud", "loud"}));
}

TEST(PredicateSystemTexts, ProcessByIdentifier) {
    const QString id = QStringLiteral("6F9619FF-8B86-D011-B42D-00CF4FC964FF");
    const QVariantList processes{QVariantMap{{"ID", "0A0A0A0A-8B86-D011-B42D-00CF4FC964FF"}}, QVariantMap{{"ID", id}}};
    const QVariantList found = Predicate::filteredArray(processes, *parse(QStringLiteral("ID = %@"), {id}));
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found[0].toMap().value("ID").toString(), id);
}

TEST(PredicateSystemTexts, SearchAndFilterJoined) {
    // The files area: a search on the name AND the stored filter.
    auto search = parse(QStringLiteral("name CONTAINS[cd] %@"), {QStringLiteral("take")});
    auto filter = Predicate::andPredicateWithSubpredicates({parse(QStringLiteral("sampleRate == %@"), {48000})});
    auto joined = Predicate::andPredicateWithSubpredicates({search, filter});
    EXPECT_TRUE(joined->evaluateWithObject(PredicateSample::make("Take 1", {{"sampleRate", 48000}})));
    EXPECT_FALSE(joined->evaluateWithObject(PredicateSample::make("Take 2", {{"sampleRate", 44100}})));
    EXPECT_FALSE(joined->evaluateWithObject(PredicateSample::make("Room", {{"sampleRate", 48000}})));
    auto always = Predicate::andPredicateWithSubpredicates({Predicate::truePredicate(), Predicate::truePredicate()});
    EXPECT_TRUE(always->evaluateWithObject(PredicateSample::make("x")));
}

// MARK: - Comparisons and values

TEST(PredicateComparison, NumbersCompareByValueAcrossKinds) {
    const QVariantMap m{{"i", 3}, {"d", 2.5}, {"b", true}, {"big", qint64(1) << 40}, {"neg", -0.3}};
    EXPECT_TRUE(holds(QStringLiteral("i == 3.0"), m));
    EXPECT_TRUE(holds(QStringLiteral("i > d"), m));
    EXPECT_TRUE(holds(QStringLiteral("d < i && i >= 3 and i <= 3"), m));
    EXPECT_TRUE(holds(QStringLiteral("i => 3 AND i =< 3 AND i <> 4 AND i != 2"), m));
    EXPECT_TRUE(holds(QStringLiteral("b == 1 AND b == YES AND b == TRUE AND b != NO AND b > 0"), m));
    EXPECT_TRUE(holds(QStringLiteral("big == 1099511627776"), m));
    EXPECT_TRUE(holds(QStringLiteral("big > 1e12 AND big < 1.1E12"), m));
    EXPECT_TRUE(holds(QStringLiteral("neg < -2.5e-1 AND neg > -.5 AND neg == -0.3"), m));
    EXPECT_TRUE(holds(QStringLiteral("i == 0x3"), m));
    EXPECT_FALSE(holds(QStringLiteral("i == '3'"), m));  // a text is not a number
    EXPECT_FALSE(holds(QStringLiteral("i < '4'"), m));
    EXPECT_TRUE(holds(QStringLiteral("3 == i"), m));
}

TEST(PredicateComparison, TextOperatorsAndOptions) {
    const QVariantMap m{{"name", QStringLiteral("Café Take 12")}};
    EXPECT_TRUE(holds(QStringLiteral("name BEGINSWITH 'Café'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name BEGINSWITH 'cafe'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name BEGINSWITH[c] 'cafe'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name BEGINSWITH[d] 'cafe'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name BEGINSWITH[d] 'Cafe'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name BEGINSWITH[cd] 'CAFE'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name BEGINSWITH[dc] 'cafe'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name ENDSWITH 'Take 12'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name ENDSWITH[c] 'TAKE 12'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name CONTAINS 'é T'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name CONTAINS 'e T'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name ==[cd] 'cafe take 12'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name == 'café take 12'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name ==[c] 'CAFÉ TAKE 12'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name !=[c] 'CAFE TAKE 12'"), m));
    // An empty needle matches nothing.
    EXPECT_FALSE(holds(QStringLiteral("name CONTAINS ''"), m));
    EXPECT_FALSE(holds(QStringLiteral("name BEGINSWITH \"\""), m));
    // Ordering of texts, literal and with options.
    EXPECT_TRUE(holds(QStringLiteral("'B' < 'a'"), QVariant()));
    EXPECT_TRUE(holds(QStringLiteral("'a' <[c] 'B'"), QVariant()));
}

TEST(PredicateComparison, LikeAndMatches) {
    const QVariantMap m{{"name", QStringLiteral("Take 7")}, {"star", QStringLiteral("a*")}};
    EXPECT_TRUE(holds(QStringLiteral("name LIKE 'Take ?'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name LIKE '*7'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name LIKE 'T*e*'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name LIKE '*'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name LIKE 'Take'"), m));  // the whole text must match
    EXPECT_FALSE(holds(QStringLiteral("name LIKE 'take ?'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name LIKE[c] 'take ?'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name LIKE 'Take ?"
                                      "?'"),
                       m));
    EXPECT_TRUE(holds(QStringLiteral("star LIKE 'a\\\\*'"), m));  // an escaped star is literal
    EXPECT_FALSE(holds(QStringLiteral("name LIKE 'T\\\\*'"), m));

    EXPECT_TRUE(holds(QStringLiteral("name MATCHES 'Take [0-9]+'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name MATCHES 'Take \\\\d'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name MATCHES 'Take \\d'"), m));  // an unknown escape is kept
    EXPECT_FALSE(holds(QStringLiteral("name MATCHES 'Take'"), m));
    EXPECT_FALSE(holds(QStringLiteral("name MATCHES 'take [0-9]'"), m));
    EXPECT_TRUE(holds(QStringLiteral("name MATCHES[c] 'take [0-9]'"), m));
    EXPECT_TRUE(holds(QStringLiteral("'Résumé' MATCHES[d] 'Resume'"), QVariant()));
    EXPECT_FALSE(holds(QStringLiteral("name MATCHES '('"), m));  // a broken pattern matches nothing
    EXPECT_FALSE(holds(QStringLiteral("missing MATCHES '.*'"), m));
}

TEST(PredicateComparison, InBetweenAndCollections) {
    const QVariantMap m{
        {"n", 5}, {"type", "loop"}, {"tags", QStringList{"drums", "Live"}}, {"values", QVariantList{1, 2.5, "x"}}};
    EXPECT_TRUE(holds(QStringLiteral("n IN {1, 5, 9}"), m));
    EXPECT_FALSE(holds(QStringLiteral("n IN {}"), m));
    EXPECT_TRUE(holds(QStringLiteral("type IN {'marker', 'loop'}"), m));
    EXPECT_TRUE(holds(QStringLiteral("type IN %@"), m, {QVariant(QVariantList{"region", "loop"})}));
    EXPECT_TRUE(holds(QStringLiteral("type IN %@"), m, {QVariant(QStringList{"region", "loop"})}));
    EXPECT_FALSE(holds(QStringLiteral("type IN %@"), m, {QVariant(QStringList{"region"})}));
    EXPECT_TRUE(holds(QStringLiteral("type IN 'loops and regions'"), m));
    EXPECT_TRUE(holds(QStringLiteral("type IN[c] 'LOOPS'"), m));
    EXPECT_FALSE(holds(QStringLiteral("type IN 'LOOPS'"), m));
    EXPECT_TRUE(holds(QStringLiteral("'live' IN[c] tags"), m));
    EXPECT_TRUE(holds(QStringLiteral("tags CONTAINS 'drums'"), m));
    EXPECT_FALSE(holds(QStringLiteral("tags CONTAINS 'drum'"), m));
    EXPECT_TRUE(holds(QStringLiteral("tags CONTAINS[c] 'LIVE'"), m));
    EXPECT_TRUE(holds(QStringLiteral("values CONTAINS 2.5"), m));

    EXPECT_TRUE(holds(QStringLiteral("n BETWEEN {5, 10}"), m));
    EXPECT_TRUE(holds(QStringLiteral("n BETWEEN {1, 5.0}"), m));
    EXPECT_FALSE(holds(QStringLiteral("n BETWEEN {6, 10}"), m));
    EXPECT_TRUE(holds(QStringLiteral("n BETWEEN %@"), m, {QVariant(QVariantList{4, 6})}));
    EXPECT_FALSE(holds(QStringLiteral("type BETWEEN {1, 10}"), m));
    EXPECT_TRUE(holds(QStringLiteral("type BETWEEN {'a', 'm'}"), m));
}

TEST(PredicateComparison, AbsentAndNullEqualOnlyNull) {
    const QVariantMap m{{"nothing", Variant::null()}, {"name", "x"}, {"zero", 0}, {"empty", ""}};
    for (const char* key : {"nothing", "missing"}) {
        const QString k = QString::fromLatin1(key);
        EXPECT_TRUE(holds(k + QStringLiteral(" == nil"), m)) << key;
        EXPECT_TRUE(holds(k + QStringLiteral(" == NULL"), m)) << key;
        EXPECT_TRUE(holds(QStringLiteral("nil == ") + k, m)) << key;
        EXPECT_FALSE(holds(k + QStringLiteral(" != nil"), m)) << key;
        EXPECT_FALSE(holds(k + QStringLiteral(" == 0"), m)) << key;
        EXPECT_FALSE(holds(k + QStringLiteral(" == ''"), m)) << key;
        EXPECT_TRUE(holds(k + QStringLiteral(" != 0"), m)) << key;
        for (const char* op : {"<", "<=", ">", ">=", "CONTAINS", "BEGINSWITH", "ENDSWITH", "LIKE", "MATCHES", "IN"})
            EXPECT_FALSE(holds(k + QLatin1Char(' ') + QLatin1String(op) + QStringLiteral(" 'x'"), m)) << key << op;
        EXPECT_FALSE(holds(k + QStringLiteral(" < 1"), m)) << key;
        EXPECT_FALSE(holds(k + QStringLiteral(" BETWEEN {0, 1}"), m)) << key;
        EXPECT_FALSE(holds(k + QStringLiteral(".deeper.still == 1"), m)) << key;
        EXPECT_TRUE(holds(QStringLiteral("NOT ") + k + QStringLiteral(" < 1"), m)) << key;
    }
    EXPECT_TRUE(holds(QStringLiteral("nothing == missing"), m));
    EXPECT_FALSE(holds(QStringLiteral("zero == nil"), m));
    EXPECT_FALSE(holds(QStringLiteral("empty == nil"), m));
    EXPECT_TRUE(holds(QStringLiteral("name != nil"), m));
    EXPECT_FALSE(holds(QStringLiteral("name == %@"), m, {QVariant()}));
    EXPECT_TRUE(holds(QStringLiteral("missing == %@"), m, {QVariant()}));
    // Objects that lack a key behave the same.
    EXPECT_FALSE(holds(QStringLiteral("sampleRate > 0"), PredicateSample::make("g")));
    EXPECT_TRUE(holds(QStringLiteral("sampleRate == nil"), PredicateSample::make("g")));
}

TEST(PredicateComparison, DatesCompareChronologically) {
    const QDateTime early = Date::dateWithTimeIntervalSinceReferenceDate(700000000.0);
    const QDateTime late = early.addSecs(3600);
    const QVariantMap m{{"date", late}};
    EXPECT_TRUE(holds(QStringLiteral("date > %@"), m, {early}));
    EXPECT_FALSE(holds(QStringLiteral("date < %@"), m, {early}));
    EXPECT_TRUE(holds(QStringLiteral("date == %@"), m, {late}));
    EXPECT_TRUE(holds(QStringLiteral("date BETWEEN %@"), m, {QVariant(QVariantList{early, late})}));
    EXPECT_TRUE(holds(QStringLiteral("date > CAST(700000000, \"Date\")"), m));
    EXPECT_TRUE(holds(QStringLiteral("date == CAST(700003600.0, 'Date')"), m));
    EXPECT_FALSE(holds(QStringLiteral("date > 5"), m));  // a number is not a date
}

TEST(PredicateComparison, CollectionsAndAggregates) {
    auto sample = PredicateSample::make("song");
    sample->setLabels({label("marker", 0.2), label("loop", 0.9), label("region", 0.5)});
    auto empty = PredicateSample::make("empty");
    const ObjectPtr s = sample;
    EXPECT_TRUE(holds(QStringLiteral("ANY labels.type == 'loop'"), s));
    EXPECT_TRUE(holds(QStringLiteral("SOME labels.type == 'loop'"), s));
    EXPECT_FALSE(holds(QStringLiteral("ANY labels.type == 'slice'"), s));
    EXPECT_TRUE(holds(QStringLiteral("NONE labels.type == 'slice'"), s));
    EXPECT_FALSE(holds(QStringLiteral("NONE labels.type == 'marker'"), s));
    EXPECT_TRUE(holds(QStringLiteral("ALL labels.peak > 0.1"), s));
    EXPECT_FALSE(holds(QStringLiteral("ALL labels.peak > 0.3"), s));
    EXPECT_TRUE(holds(QStringLiteral("ANY labels.type BEGINSWITH[c] 'REG'"), s));
    EXPECT_TRUE(holds(QStringLiteral("labels.type CONTAINS 'loop'"), s));
    EXPECT_FALSE(holds(QStringLiteral("labels.type == 'loop'"), s));  // a list is not a text

    EXPECT_FALSE(holds(QStringLiteral("ANY labels.type == 'loop'"), ObjectPtr(empty)));
    EXPECT_TRUE(holds(QStringLiteral("ALL labels.type == 'loop'"), ObjectPtr(empty)));
    EXPECT_FALSE(holds(QStringLiteral("ANY name == 'song'"), s));  // not a collection
    EXPECT_FALSE(holds(QStringLiteral("ANY missing == 1"), s));

    EXPECT_TRUE(holds(QStringLiteral("labels.@count == 3"), s));
    EXPECT_TRUE(holds(QStringLiteral("labels.@count == 0"), ObjectPtr(empty)));
    EXPECT_TRUE(holds(QStringLiteral("labels.@max.peak == 0.9"), s));
    EXPECT_TRUE(holds(QStringLiteral("labels.@min.peak < 0.3"), s));
    EXPECT_TRUE(holds(QStringLiteral("labels.@avg.peak > 0.5 AND labels.@avg.peak < 0.54"), s));
    EXPECT_TRUE(holds(QStringLiteral("labels.@sum.peak BETWEEN {1.59, 1.61}"), s));
    EXPECT_TRUE(holds(QStringLiteral("labels.@max.peak == nil"), ObjectPtr(empty)));

    // SELF: the evaluated value itself.
    const QVariantList numbers{1, 2, 3, 4};
    const QVariantList big = Predicate::filteredArray(numbers, *parse(QStringLiteral("SELF > 2")));
    EXPECT_EQ(big, (QVariantList{3, 4}));
    EXPECT_EQ(Predicate::filteredArray(numbers, *parse(QStringLiteral("SELF IN {1, 3}"))), (QVariantList{1, 3}));
    EXPECT_TRUE(holds(QStringLiteral("SELF.@count == 4 AND @count == 4 AND self.@max == 4"), numbers));
    EXPECT_TRUE(holds(QStringLiteral("ANY SELF == 2"), numbers));
    EXPECT_TRUE(holds(QStringLiteral("SELF BEGINSWITH[c] 'a'"), QStringLiteral("Apple")));
    EXPECT_TRUE(holds(QStringLiteral("SELF.name == 'song'"), s));
    EXPECT_TRUE(holds(QStringLiteral("SELF == %@"), s, {Variant::fromObject(s)}));
    EXPECT_FALSE(holds(QStringLiteral("SELF == %@"), s, {Variant::fromObject(empty)}));

    // Nested key paths through dictionaries and objects.
    const QVariantMap nested{{"file", Variant::fromObject(s)}, {"meta", QVariantMap{{"artist", "Ann"}}}};
    EXPECT_TRUE(
        holds(QStringLiteral("file.name == 'song' AND meta.artist == 'Ann' AND file.labels.@count > 2"), nested));
}

// MARK: - Syntax

TEST(PredicateSyntax, KeywordsIgnoreCaseAndPrecedence) {
    const QVariantMap m{{"a", 1}, {"b", 2}, {"name", "Take"}};
    EXPECT_TRUE(holds(QStringLiteral("name contains[CD] 'TAK' and not b == 3"), m));
    EXPECT_TRUE(holds(QStringLiteral("truepredicate"), m));
    EXPECT_FALSE(holds(QStringLiteral("FalsePredicate"), m));
    EXPECT_TRUE(holds(QStringLiteral("a == 1 OR a == 5 AND b == 9"), m));  // AND binds tighter
    EXPECT_FALSE(holds(QStringLiteral("(a == 1 OR a == 5) AND b == 9"), m));
    EXPECT_FALSE(holds(QStringLiteral("NOT a == 1 AND b == 2"), m));  // NOT binds tightest
    EXPECT_TRUE(holds(QStringLiteral("NOT (a == 1 AND b == 3)"), m));
    EXPECT_TRUE(holds(QStringLiteral("!(a == 2) && (b == 2 || b == 3)"), m));
    EXPECT_TRUE(holds(QStringLiteral("NOT NOT a == 1"), m));
    EXPECT_TRUE(holds(QStringLiteral("((((a == 1))))"), m));
    EXPECT_TRUE(holds(QStringLiteral("  a==1&&b=2  "), m));
    EXPECT_TRUE(holds(QStringLiteral("#in == 3"), QVariantMap{{"in", 3}}));
    EXPECT_TRUE(holds(QStringLiteral("name == \"Say \\\"hi\\\"\\n\""), QVariantMap{{"name", "Say \"hi\"\n"}}));
    EXPECT_TRUE(holds(QStringLiteral("name == 'it\\'s'"), QVariantMap{{"name", "it's"}}));
    EXPECT_TRUE(holds(QStringLiteral("name == \"it's\""), QVariantMap{{"name", "it's"}}));
    EXPECT_TRUE(holds(QStringLiteral("name == '\\u00e9'"), QVariantMap{{"name", QStringLiteral("é")}}));
}

TEST(PredicateSyntax, Substitutions) {
    auto s = PredicateSample::make("Take 1", {{"sampleRate", 48000}, {"peak", 0.5}, {"frames", qint64(1) << 33}});
    s->setLabels({label("loop", 0.1)});
    const ObjectPtr o = s;
    EXPECT_TRUE(holds(QStringLiteral("%K == %@"), o, {"name", "Take 1"}));
    EXPECT_TRUE(holds(QStringLiteral("%K CONTAINS %@"), o, {"labels.type", "loop"}));
    EXPECT_TRUE(holds(QStringLiteral("name == %@ AND sampleRate == %@"), o, {"Take 1", 48000}));
    EXPECT_FALSE(holds(QStringLiteral("name == %@ AND sampleRate == %@"), o, {48000, "Take 1"}));
    EXPECT_TRUE(holds(QStringLiteral("sampleRate == %d"), o, {48000}));
    EXPECT_TRUE(holds(QStringLiteral("sampleRate == %i"), o, {48000.0}));
    EXPECT_TRUE(holds(QStringLiteral("sampleRate == %ld"), o, {qint64(48000)}));
    EXPECT_TRUE(holds(QStringLiteral("frames == %lld"), o, {qint64(1) << 33}));
    EXPECT_TRUE(holds(QStringLiteral("frames == %lu"), o, {quint64(1) << 33}));
    EXPECT_TRUE(holds(QStringLiteral("peak == %f"), o, {0.5}));
    EXPECT_TRUE(holds(QStringLiteral("peak < %f"), o, {1}));
    EXPECT_TRUE(holds(QStringLiteral("name == %s"), o, {"Take 1"}));
    EXPECT_TRUE(holds(QStringLiteral("name BEGINSWITH %@"), o, {"Take"}));
    // Quoted text takes %@ literally and %% as one percent sign; extra arguments are ignored.
    EXPECT_TRUE(holds(QStringLiteral("SELF == '%@'"), QStringLiteral("%@")));
    EXPECT_TRUE(holds(QStringLiteral("SELF == '100%%'"), QStringLiteral("100%")));
    EXPECT_TRUE(holds(QStringLiteral("SELF == %@"), QStringLiteral("a"), {"a", "unused"}));
}

TEST(PredicateSyntax, GarbageIsRejectedWithAnError) {
    struct Case {
        const char* format;
        QVariantList arguments;
        qsizetype position;  // -1: not checked
    };
    const std::vector<Case> cases = {
        {"", {}, 0},
        {"   ", {}, 3},
        {"(name == 'a'", {}, 12},
        {"name == 'a')", {}, 11},
        {"((a == 1) OR (b == 2)", {}, 21},
        {"name ==", {}, 7},
        {"name == 'a' AND", {}, 15},
        {"name == 'a' &&", {}, 14},
        {"AND name == 'a'", {}, 0},
        {"name == 'a' OR OR type == 'b'", {}, 15},
        {"NOT", {}, 3},
        {"ANY", {}, 3},
        {"name", {}, 4},
        {"name === 'a'", {}, 7},
        {"name FOO 'a'", {}, 5},
        {"name ~= 'a'", {}, 5},
        {"name == 'abc", {}, 8},
        {"name == \"abc", {}, 8},
        {"name == 'abc\\", {}, 8},
        {"name == %@", {}, 8},
        {"name == %@ OR type == %@", {"a"}, 22},
        {"%K == 1", {}, 0},
        {"name == %z", {}, 8},
        {"name == %%", {}, 8},
        {"name CONTAINS[x] 'a'", {}, 14},
        {"name CONTAINS[c 'a'", {}, 16},
        {"n BETWEEN 3", {}, 10},
        {"n BETWEEN {1, 2, 3}", {}, 10},
        {"n IN {1, 2", {}, 10},
        {"n IN {1 2}", {}, 8},
        {"name == 'a' name == 'b'", {}, 12},
        {"()", {}, 1},
        {"== 'a'", {}, 0},
        {"a.b. == 1", {}, 5},
        {"1abc == 2", {}, 1},
        {"$var == 1", {}, 0},
        {"name == AND", {}, 8},
        {"a[0] == 1", {}, 1},
        {"date > CAST('x', 'Date')", {}, 7},
        {"date > CAST(1, 'Color')", {}, 15},
        {"name == %d", {"text"}, 8},
        {"%K == 1", {5}, 0},
        {"name == %s", {5}, 8},
        {"name == %1 OR '%2'", {}, 8},
    };
    for (const Case& c : cases) {
        const QString format = QString::fromUtf8(c.format);
        VMKError error;
        auto p = Predicate::predicateWithFormat(format, c.arguments, &error);
        EXPECT_FALSE(p) << c.format;
        ASSERT_TRUE(error.isError()) << c.format;
        EXPECT_EQ(error.action(), QStringLiteral("Parsing the predicate")) << c.format;
        EXPECT_FALSE(error.reason().isEmpty()) << c.format;
        EXPECT_TRUE(error.reason().contains(QStringLiteral("position"))) << c.format;
        EXPECT_EQ(error.userInfo().value("format").toString(), format);
        if (c.position >= 0) {
            EXPECT_EQ(error.userInfo().value("position").toLongLong(), c.position)
                << c.format << ": " << qPrintable(error.reason());
        }
        // No error slot: still no crash.
        EXPECT_FALSE(Predicate::predicateWithFormat(format, c.arguments));
    }
    // Deep nesting is refused, not followed down the stack.
    for (const QString& deep : {QStringLiteral("(").repeated(100000) + QStringLiteral("a == 1"),
                                QStringLiteral("NOT ").repeated(100000) + QStringLiteral("a == 1"),
                                QStringLiteral("a IN ") + QStringLiteral("{").repeated(100000)}) {
        VMKError error;
        EXPECT_FALSE(Predicate::predicateWithFormat(deep, {}, &error));
        EXPECT_TRUE(error.reason().contains(QStringLiteral("nests deeper"))) << qPrintable(error.reason().left(80));
    }
    EXPECT_TRUE(holds(QStringLiteral("(").repeated(50) + QStringLiteral("a == 1") + QStringLiteral(")").repeated(50),
                      QVariantMap{{"a", 1}}));

    VMKError error;
    Predicate::predicateWithFormat(QStringLiteral("name == %@"), {}, &error);
    EXPECT_EQ(error.code(), 2);
    EXPECT_TRUE(error.reason().contains(QStringLiteral("too few arguments"))) << qPrintable(error.reason());
    Predicate::predicateWithFormat(QStringLiteral("(a == '%1' %2"), {}, &error);
    EXPECT_TRUE(error.reason().contains(QStringLiteral("\u201C%2\u201D (position 11 of \u201C(a == '%1' %2\u201D)")))
        << qPrintable(error.reason());
    Predicate::predicateWithFormat(QStringLiteral("name FOO 'a'"), {}, &error);
    EXPECT_TRUE(error.reason().contains(QStringLiteral("comparison operator"))) << qPrintable(error.reason());
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("FOO")))
        << qPrintable(error.localizedDescription());
}

// MARK: - Text form and trees

TEST(PredicateFormat, RoundTripsToAnEqualPredicate) {
    const QDateTime date = Date::dateWithTimeIntervalSinceReferenceDate(700000000.5);
    const std::vector<std::pair<QString, QVariantList>> texts = {
        {"sampleRate == %@", {48000}},
        {"name CONTAINS[cd] %@", {"caf\u00e9"}},
        {"type == \"marker\"", {}},
        {"type != 'loop'", {}},
        {"favorite == YES", {}},
        {"custom == NO", {}},
        {"a == 1.5 AND (b == 2 OR c != 3) AND d <= -4", {}},
        {"NOT (a == 1 OR b == 2)", {}},
        {"NOT a == 1", {}},
        {"ANY labels.type == 'loop'", {}},
        {"ALL labels.peak < 0.5", {}},
        {"NONE labels.type ==[c] 'slice'", {}},
        {"name LIKE[c] 'take*'", {}},
        {"name MATCHES 'Take \\\\d+'", {}},
        {"name ENDSWITH[d] 'e' OR name BEGINSWITH 'x'", {}},
        {"x IN {1, 2.25, 'three'}", {}},
        {"x IN %@", {QVariant(QVariantList{"a", 2})}},
        {"x BETWEEN {1, 10}", {}},
        {"name == nil", {}},
        {"text == %@", {"quote \" back \\ percent % tab\t"}},
        {"#in == 1 AND #Self.#and == 2", {}},
        {"labels.@count >= 2 AND labels.@max.peak > 0.5", {}},
        {"SELF == 3", {}},
        {"date > %@", {date}},
        {"TRUEPREDICATE", {}},
        {"FALSEPREDICATE", {}},
        {"x == %f", {3.0}},
        {"x == %@", {1e300}},
    };
    const QVariantList samples{
        QVariantMap{{"sampleRate", 48000},
                    {"name", "Café"},
                    {"type", "loop"},
                    {"favorite", true},
                    {"a", 1.5},
                    {"b", 2},
                    {"d", -5},
                    {"x", 2.25},
                    {"text", "quote \" back \\ percent % tab\t"},
                    {"in", 1},
                    {"Self", QVariantMap{{"and", 2}}},
                    {"date", date.addSecs(1)}},
        QVariantMap{{"sampleRate", 44100},
                    {"name", "take 1"},
                    {"type", "slice"},
                    {"custom", false},
                    {"x", 3.0},
                    {"c", 3},
                    {"d", 9}},
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
    EXPECT_EQ(parse(QStringLiteral("name contains[cd] %@"), {"x"})->predicateFormat(),
              QStringLiteral("name CONTAINS[cd] \"x\""));
    EXPECT_EQ(parse(QStringLiteral("a = 1 && b <> 2 || !c =< 3"))->predicateFormat(),
              QStringLiteral("(a == 1 AND b != 2) OR NOT c <= 3"));
    EXPECT_EQ(parse(QStringLiteral("x == 2.0"))->predicateFormat(), QStringLiteral("x == 2.0"));
    EXPECT_EQ(parse(QStringLiteral("NONE a == 1"))->predicateFormat(), QStringLiteral("NOT ANY a == 1"));
}

TEST(PredicateFormat, TreesAndBuilders) {
    auto p = parse(QStringLiteral("name CONTAINS[cd] %@ OR (favorite == YES AND NOT type == 'loop')"), {"x"});
    auto orPredicate = std::dynamic_pointer_cast<CompoundPredicate>(p);
    ASSERT_TRUE(orPredicate);
    EXPECT_EQ(orPredicate->compoundPredicateType(), CompoundPredicate::CompoundPredicateType::Or);
    ASSERT_EQ(orPredicate->subpredicates().size(), 2u);
    auto comparison = std::dynamic_pointer_cast<ComparisonPredicate>(orPredicate->subpredicates()[0]);
    ASSERT_TRUE(comparison);
    EXPECT_EQ(comparison->predicateOperatorType(), ComparisonPredicate::PredicateOperatorType::Contains);
    EXPECT_EQ(comparison->options(), ComparisonPredicate::CaseInsensitivePredicateOption |
                                         ComparisonPredicate::DiacriticInsensitivePredicateOption);
    EXPECT_EQ(comparison->leftExpression()->expressionType(), Expression::ExpressionType::KeyPath);
    EXPECT_EQ(comparison->leftExpression()->keyPath(), QStringLiteral("name"));
    EXPECT_EQ(comparison->rightExpression()->constantValue().toString(), QStringLiteral("x"));
    auto andPredicate = std::dynamic_pointer_cast<CompoundPredicate>(orPredicate->subpredicates()[1]);
    ASSERT_TRUE(andPredicate);
    EXPECT_EQ(andPredicate->compoundPredicateType(), CompoundPredicate::CompoundPredicateType::And);
    EXPECT_EQ(std::dynamic_pointer_cast<CompoundPredicate>(andPredicate->subpredicates()[1])->compoundPredicateType(),
              CompoundPredicate::CompoundPredicateType::Not);

    // Key-value coding sees the tree too.
    EXPECT_EQ(p->valueForKey(QStringLiteral("predicateFormat")).toString(), p->predicateFormat());
    EXPECT_EQ(comparison->valueForKey(QStringLiteral("predicateOperatorType")).toInt(), 99);
    EXPECT_EQ(orPredicate->valueForKeyPath(QStringLiteral("subpredicates.@count")).toInt(), 2);

    EXPECT_EQ(Predicate::andPredicateWithSubpredicates({})->predicateFormat(), QStringLiteral("TRUEPREDICATE"));
    EXPECT_TRUE(Predicate::andPredicateWithSubpredicates({})->evaluateWithObject(QVariant()));
    EXPECT_EQ(Predicate::orPredicateWithSubpredicates({})->predicateFormat(), QStringLiteral("FALSEPREDICATE"));
    EXPECT_FALSE(Predicate::orPredicateWithSubpredicates({})->evaluateWithObject(QVariant()));
    auto negated = Predicate::notPredicateWithSubpredicate(Predicate::falsePredicate());
    EXPECT_TRUE(negated->evaluateWithObject(QVariant()));
    EXPECT_EQ(negated->predicateFormat(), QStringLiteral("NOT FALSEPREDICATE"));
    EXPECT_TRUE(Predicate::truePredicate()->isEqual(*parse(QStringLiteral("TRUEPREDICATE"))));
    EXPECT_FALSE(Predicate::truePredicate()->isEqual(*Predicate::falsePredicate()));

    // Built by hand from expressions.
    ComparisonPredicate built(Expression::expressionForKeyPath(QStringLiteral("labels.type")),
                              Expression::expressionForConstantValue(QStringLiteral("LOOP")),
                              ComparisonPredicate::ComparisonPredicateModifier::Any,
                              ComparisonPredicate::PredicateOperatorType::EqualTo,
                              ComparisonPredicate::CaseInsensitivePredicateOption);
    EXPECT_EQ(built.predicateFormat(), QStringLiteral("ANY labels.type ==[c] \"LOOP\""));
    auto s = PredicateSample::make("s");
    s->setLabels({label("loop", 0.1)});
    EXPECT_TRUE(built.evaluateWithObject(ObjectPtr(s)));

    // Made by class name, as an archive would: an inert default.
    BooleanPredicate::staticClassInfo();
    Expression::staticClassInfo();
    for (const char* name : {"ComparisonPredicate", "CompoundPredicate", "BooleanPredicate", "Expression"})
        EXPECT_TRUE(ClassRegistry::create(QString::fromLatin1(name))) << name;
    EXPECT_FALSE(ClassRegistry::create(QStringLiteral("Predicate")));  // abstract
}

TEST(PredicateEvaluation, SharedBetweenThreads) {
    const QString text = QStringLiteral("name MATCHES[c] 'take [0-9]+' AND name CONTAINS[cd] %@");
    QVariantList samples;
    for (int i = 0; i < 200; ++i)
        samples << QVariantMap{{"name", QStringLiteral("Take %1%2").arg(i).arg(i % 3 ? "" : "x")}};
    const qsizetype expected = Predicate::filteredArray(samples, *parse(text, {"TAKE"})).size();
    auto p = parse(text, {"TAKE"});  // first used by the threads at once
    EXPECT_EQ(expected, 133);
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round)
                if (Predicate::filteredArray(samples, *p).size() != expected)
                    ++mismatches;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}
