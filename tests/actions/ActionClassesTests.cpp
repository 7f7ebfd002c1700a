#include "tests/actions/ActionTest.h"

#include "core/objects/ClassInfo.h"

#include <QtCore/QSet>

namespace ondrel {

namespace {

std::vector<std::shared_ptr<Action>> everyAction() {
    std::vector<std::shared_ptr<Action>> actions;
    for (const QString& name : ClassRegistry::subclassesOf(QStringLiteral("Action")))
        if (auto action = std::dynamic_pointer_cast<Action>(ClassRegistry::create(name)))
            actions.push_back(std::move(action));
    return actions;
}

// Another value of the kind a parameter reads, or nothing when there is none
// to make (data, lists).
QVariant anotherValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return !value.toBool();
    case QMetaType::ULongLong:
        return value.toULongLong() + 3;
    case QMetaType::Float:
        return value.toFloat() + 0.1f;
    case QMetaType::Double:
        return value.toDouble() + 0.1;
    case QMetaType::QString:
        return value.toString() + QStringLiteral("x");
    default:
        return QVariant();
    }
}

// The classes that keep the compiler from adding its channel extraction. The
// advanced FLAC and Vorbis forms differ from their simple forms on purpose:
// "tidying" them into line changes what comes out of a split file.
TEST(ActionClasses, OnlyTheListedClassesPreventTheInherentChannelSuffix) {
    const QSet<QString> preventing{
        QStringLiteral("ChangeToAACAction"),     QStringLiteral("ChangeToALACAction"),
        QStringLiteral("ChangeToAUAction"),      QStringLiteral("ChangeToCAFAction"),
        QStringLiteral("ChangeToFLACAction"),    QStringLiteral("ChangeToMP3Action"),
        QStringLiteral("ChangeToVOXAction"),     QStringLiteral("ChangeToVorbisAction"),
        QStringLiteral("ChangeToWAV64Action"),   QStringLiteral("DeinterleaveAction"),
        QStringLiteral("ExtractChannelsAction"), QStringLiteral("InterleaveAction")};
    int found = 0;
    for (const auto& action : everyAction()) {
        EXPECT_EQ(action->preventInherentChannelSuffixDelimiter(), preventing.contains(action->className()))
            << qPrintable(action->className());
        found += preventing.contains(action->className());
    }
    EXPECT_GE(found, 11) << "the format and channel actions are not registered";
}

// A stored workflow keeps an action as its parameterValues and gives them to
// a new one. A parameter key without a property, or without a setter, or one
// whose setter takes another type than its getter answers (a float setter
// behind a double getter), loses the user's value on the way.
TEST(ActionClasses, ParameterValuesSurviveANewInstance) {
    for (const auto& action : everyAction()) {
        for (const QString& key : action->parameterKeys()) {
            SCOPED_TRACE(qPrintable(action->className() + "." + key));
            const ClassInfo::Property* property = action->classInfo().property(key);
            ASSERT_TRUE(property && property->set);
            const QVariant value = anotherValue(action->valueForKey(key));
            if (value.isValid()) {
                action->setValueForKey(value, key);
                EXPECT_TRUE(Variant::equal(action->valueForKey(key), value));
            }
        }
        const QVariantMap stored = action->parameterValues();
        const auto made = std::dynamic_pointer_cast<Action>(ClassRegistry::create(action->className()));
        made->setParameterValues(stored);
        EXPECT_TRUE(Variant::equal(made->parameterValues(), stored)) << qPrintable(action->className());
    }
}

} // namespace

} // namespace ondrel
