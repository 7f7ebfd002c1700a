#include "tests/actions/ActionTest.h"

#include "core/files/URL.h"
#include "core/objects/ClassInfo.h"

#include <QtCore/QProcess>

namespace ondrel {

std::shared_ptr<FileEntity> ActionTest::waveFile(const QString& name, int channels, int bits, qint64 frames) {
    const QString path = dataPath(name);
    if (!writeTestWav(path, channels, frames, 48000, bits))
        return nullptr;
    return FileEntity::initWithURL(URL::fileURLWithPath(path));
}

std::shared_ptr<FileEntity> ActionTest::oggFile() {
    const QString wave = dataPath(QStringLiteral("for-ogg.wav"));
    const QString ogg = dataPath(QStringLiteral("coded.ogg"));
    if (!writeTestWav(wave, 2, 48000, 48000, 16))
        return nullptr;
    if (QProcess::execute(QStringLiteral("oggenc"), {QStringLiteral("-Q"), QStringLiteral("-o"), ogg, wave}) != 0)
        return nullptr;
    return FileEntity::initWithURL(URL::fileURLWithPath(ogg));
}

std::shared_ptr<Action> ActionTest::make(const QString& className) {
    return std::dynamic_pointer_cast<Action>(ClassRegistry::create(className));
}

std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> ActionTest::sourcesOf(
    const std::shared_ptr<FileEntity>& file) {
    auto main = std::make_shared<AudioProcessCommandSourceInstructions>();
    main->setFileEntity(file);
    auto group = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
    group->insertObjectInSourceInstructionsAtIndex(main, 0);
    return group;
}

std::shared_ptr<AudioProcessCommandInstructions> ActionTest::compile(
    const std::vector<std::shared_ptr<Action>>& actions, const std::shared_ptr<FileEntity>& file,
    std::shared_ptr<AudioProcessCommandInstructions> instructions, qsizetype process) {
    if (!instructions)
        instructions = std::make_shared<AudioProcessCommandInstructions>();
    const auto sources = sourcesOf(file);
    for (const auto& action : actions)
        action->compileInstructions(instructions, sources, process);
    return instructions;
}

ActionTest::Compiled ActionTest::compileRun(const std::vector<std::shared_ptr<Action>>& actions,
                                           const std::shared_ptr<FileEntity>& file,
                                           std::vector<std::shared_ptr<FileEntity>> allFiles) {
    if (allFiles.empty())
        allFiles.push_back(file);
    Compiled compiled{sourcesOf(file), std::make_shared<AudioProcessCommandInstructions>()};
    for (const auto& action : actions)
        action->willBeginConstructingProcessForFileEntity(file, allFiles);
    for (const auto& action : actions)
        action->numberOfProcessesForFileEntity(file);
    for (const auto& action : actions)
        action->compileSourceInstructions(compiled.sources, 0);
    for (const auto& action : actions)
        action->compileInstructions(compiled.instructions, compiled.sources, 0);
    for (const auto& action : actions)
        action->didEndConstructingProcess();
    return compiled;
}

} // namespace ondrel
