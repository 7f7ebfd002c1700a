#include "process/interfaces/CurrentWorkflow.h"
#include "process/workflow/Action.h"
#include "tests/support/process/InstalledInterfaces.h"
#include "catalog/entities/FileEntity.h"
#include "tests/support/process/TestFileEntities.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// An action with two parameters; "mode" may be absent. Its parameter keys
// also name "retired", a parameter the class no longer has.
class LevelAction : public Action {
    ONDREL_OBJECT(LevelAction, Action)
public:
    QStringList parameterKeys() const override { return {"level", "mode", "retired"}; }

    double level() const { return m_level; }
    void setLevel(double level) { setAndNotify("level", m_level, level); }
    std::optional<QString> mode() const { return m_mode; }
    void setMode(const std::optional<QString>& mode) { setAndNotify("mode", m_mode, mode); }

private:
    double m_level = -1.0;
    std::optional<QString> m_mode;
};

const ClassInfo& LevelAction::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<LevelAction, Action>("LevelAction")
                                       .property("level", &LevelAction::level, &LevelAction::setLevel)
                                       .property("mode", &LevelAction::mode, &LevelAction::setMode);
    return info;
}

// Records what reaches the per-file hook.
class RecordingAction : public Action {
    ONDREL_OBJECT(RecordingAction, Action)
public:
    int calls = 0;
    std::shared_ptr<AudioProcessCommandInstructions> instructions;
    std::shared_ptr<FileEntity> fileEntity;
    qsizetype process = -1;

    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& i,
                                          const std::shared_ptr<FileEntity>& f, qsizetype p) override {
        ++calls;
        instructions = i;
        fileEntity = f;
        process = p;
    }
};

const ClassInfo& RecordingAction::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<RecordingAction, Action>("RecordingAction");
    return info;
}

std::shared_ptr<AudioProcessCommandSourceInstructions> sourceOf(const std::shared_ptr<FileEntity>& file) {
    auto source = std::make_shared<AudioProcessCommandSourceInstructions>();
    source->setFileEntity(file);
    return source;
}

// MARK: - Fields

TEST(Action, IdentifierComesFromTheClassName) {
    const std::pair<const char*, const char*> rows[] = {{"TrimBeginningAction", "trimBeginning"},
                                                        {"SaveAction", "save"},
                                                        {"ChangeToAACAction", "changeToAAC"},
                                                        {"NormalizeActionAction", "normalizeAction"},
                                                        {"Normalize", "normalize"},
                                                        {"Action", ""},
                                                        {"", ""}};
    for (const auto& [className, identifier] : rows)
        EXPECT_EQ(Action::identifierForClassName(className), identifier) << className;
}

// MARK: - Parameters

TEST(Action, ParameterValuesHoldEveryPresentParameter) {
    LevelAction action;
    QVariantMap values = action.parameterValues();
    EXPECT_EQ(values.keys(), QStringList{"level"});  // mode is absent, retired has no value
    EXPECT_EQ(values.value("level").toDouble(), -1.0);

    action.setMode("peak");
    values = action.parameterValues();
    EXPECT_EQ(values.size(), 2);
    EXPECT_EQ(values.value("mode").toString(), "peak");
    EXPECT_FALSE(values.contains("enabled"));  // fields are not parameters

    // What one action gives, another of its class takes.
    LevelAction second;
    action.setLevel(-12.0);
    second.setParameterValues(action.parameterValues());
    EXPECT_EQ(second.level(), -12.0);
    EXPECT_EQ(second.mode(), std::optional<QString>("peak"));
}

TEST(Action, SetParameterValuesIgnoresUnknownKeysAndKeepsMissingOnes) {
    LevelAction action;
    action.setMode("rms");
    action.setParameterValues(
        {{"level", 3.5}, {"bogus", 1}, {"retired", "old"}, {"enabled", false}, {"name", "ignored"}});
    EXPECT_EQ(action.level(), 3.5);
    EXPECT_EQ(action.mode(), std::optional<QString>("rms"));  // missing: kept
    EXPECT_TRUE(action.isEnabled());                          // not a parameter key
    EXPECT_FALSE(action.name().has_value());
    EXPECT_TRUE(Variant::isAbsent(action.valueForKey("retired")));
    EXPECT_TRUE(Variant::isAbsent(action.valueForKey("bogus")));
    // Undefined keys are silent, by key path too.
    action.setValueForKeyPath(1, "noSuchKey");
    EXPECT_TRUE(Variant::isAbsent(action.valueForKey("noSuchKey")));
}

// MARK: - Compile hooks

TEST(Action, CompileInstructionsForwardsTheMainSourcesFile) {
    RecordingAction action;
    auto main = testFileEntity(1.0);
    auto other = testFileEntity(2.0);
    auto group = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
    group->insertObjectInSourceInstructionsAtIndex(sourceOf(other), 0);
    group->insertObjectInSourceInstructionsAtIndex(sourceOf(main), 0);
    auto instructions = std::make_shared<AudioProcessCommandInstructions>();

    action.compileInstructions(instructions, group, 3);
    EXPECT_EQ(action.calls, 1);
    EXPECT_EQ(action.instructions, instructions);
    EXPECT_EQ(action.fileEntity, main);
    EXPECT_EQ(action.process, 3);

    // No file for an empty group or none.
    action.compileInstructions(instructions, std::make_shared<AudioProcessCommandSourceInstructionsGroup>(), 0);
    EXPECT_EQ(action.fileEntity, nullptr);
    action.fileEntity = main;
    action.compileInstructions(instructions, nullptr, 1);
    EXPECT_EQ(action.calls, 3);
    EXPECT_EQ(action.fileEntity, nullptr);
}

// MARK: - Pasteboard form

// A list of actions standing in for the current workflow.
class ListWorkflow : public CurrentWorkflow {
public:
    std::vector<std::shared_ptr<Action>> actions{std::make_shared<Action>(), std::make_shared<LevelAction>(),
                                                 std::make_shared<RecordingAction>()};
    qsizetype indexOfObjectInActions(const Action* action) override {
        for (size_t i = 0; i < actions.size(); ++i)
            if (actions[i].get() == action)
                return qsizetype(i);
        return -1;
    }
    std::shared_ptr<Action> objectInActionsAtIndex(qsizetype index) override {
        return index < qsizetype(actions.size()) ? actions[size_t(index)] : nullptr;
    }
};

class ActionPasteboard : public ::testing::Test {
protected:
    void SetUp() override { ProcessInterfaces::setCurrentWorkflow(current); }
    InstalledInterfaces interfaces;
    std::shared_ptr<ListWorkflow> current = std::make_shared<ListWorkflow>();
    std::vector<std::shared_ptr<Action>>& workflow = current->actions;
};

const QString indexType = Action::actionIndexPasteboardType();

TEST_F(ActionPasteboard, WritesTheIndexInTheCurrentWorkflow) {
    const QVariant list = workflow[1]->pasteboardPropertyListForType(indexType);
    ASSERT_TRUE(Variant::isDictionary(list));
    const QVariantMap map = list.toMap();
    EXPECT_EQ(map.keys(), QStringList{"index"});
    EXPECT_EQ(map.value("index").toULongLong(), 1u);
    EXPECT_TRUE(Variant::isInteger(map.value("index")));

    EXPECT_TRUE(Variant::isAbsent(workflow[1]->pasteboardPropertyListForType("public.text")));
    EXPECT_TRUE(Variant::isAbsent(Action().pasteboardPropertyListForType(indexType)));  // not in the workflow
}

TEST_F(ActionPasteboard, ReadingAnswersTheExistingActionAtTheIndex) {
    for (const auto& action : workflow)
        EXPECT_EQ(Action::initWithPasteboardPropertyList(action->pasteboardPropertyListForType(indexType), indexType),
                  action);
    for (const QVariant& bad :
         {QVariant(QVariantMap{{"index", 3}}), QVariant(QVariantMap{{"index", -1}}),
          QVariant(QVariantMap{{"index", "one"}}), QVariant(QVariantMap{}), QVariant(QVariantList{0})})
        EXPECT_EQ(Action::initWithPasteboardPropertyList(bad, indexType), nullptr)
            << qPrintable(Variant::describe(bad));
    EXPECT_EQ(Action::initWithPasteboardPropertyList(QVariantMap{{"index", 0}}, "public.text"), nullptr);

    // A place, not a copy: after a move the same form names another action.
    const QVariant form = workflow[0]->pasteboardPropertyListForType(indexType);
    std::swap(workflow[0], workflow[2]);
    EXPECT_EQ(Action::initWithPasteboardPropertyList(form, indexType), workflow[0]);
}

TEST(ActionPasteboardWithoutWorkflow, AnswersNothing) {
    InstalledInterfaces none;
    Action action;
    EXPECT_TRUE(Variant::isAbsent(action.pasteboardPropertyListForType(indexType)));
    EXPECT_EQ(Action::initWithPasteboardPropertyList(QVariantMap{{"index", 0}}, indexType), nullptr);
}

} // namespace

} // namespace ondrel
