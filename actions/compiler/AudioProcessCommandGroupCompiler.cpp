#include "actions/compiler/AudioProcessCommandGroupCompiler.h"

#include "actions/multioutput/ExtractChannelsAction.h"
#include "actions/save/SaveAction.h"
#include "actions/save/SaveActionFilenameDateToken.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/entities/FileEntity.h"
#include "core/files/Bookmark.h"
#include "core/text/TextValues.h"
#include "core/text/VMKLocalizedString.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/workflow/Action.h"
#include "render/engine/files/VMKAudioMetadata.h"
#include "shell/formatters/FormatterController.h"
#include "shell/formatters/Formatter.h"

#include <QtCore/QFile>
#include <QtCore/QStringDecoder>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace ondrel {

namespace {

using Entities = std::vector<std::shared_ptr<FileEntity>>;
using Actions = std::vector<std::shared_ptr<Action>>;

// What a compile carries from file to file and from process to process.
struct CompileState {
    qsizetype commonLength = 0;
    qint64 counterValue = std::numeric_limits<qint64>::max();
    qint64 counterStep = 1;
    std::optional<int> counterWidth;  // absent until a "[C]" component sets it
    QStringList names;
    qsizetype namesIndex = 0;
};

// The save action's fields, read once.
struct SaveOptions {
    bool addResults = false;
    QStringList filenameComponents;
    QByteArray destinationBookmark;
    bool preserveHierarchy = false;
    bool replaceOriginal = false;
};

SaveOptions saveOptionsOf(const std::shared_ptr<Action>& action) {
    SaveOptions options;
    if (const auto save = std::dynamic_pointer_cast<SaveAction>(action)) {
        options.addResults = save->addResults();
        options.filenameComponents = save->filenameComponents();
        options.destinationBookmark = save->destinationBookmark();
        options.preserveHierarchy = save->preserveHierarchy();
        options.replaceOriginal = save->replaceOriginal();
    }
    return options;
}

QString nameWithoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && dot < name.size() - 1 ? name.left(dot) : name;
}

URL resolve(const QByteArray& bookmark) {
    bool isStale = false;
    return Bookmark::URLByResolvingBookmarkData(bookmark, &isStale);
}

// A text file in the encoding its content shows: a byte order mark, else
// UTF-8 when it decodes as such, else Latin-1.
QString readText(const URL& url) {
    QFile file(url.path());
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    const QByteArray data = file.readAll();
    if (const auto encoding = QStringConverter::encodingForData(data)) {
        QStringDecoder decoder(*encoding);
        return decoder.decode(data);
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(data);
    return utf8.hasError() ? QString::fromLatin1(data) : text;
}

bool isNewline(char32_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

QStringList nonEmptyLines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || isNewline(text[i].unicode())) {
            if (i > start)
                lines.append(text.mid(start, i - start));
            start = i + 1;
        }
    }
    return lines;
}

// The width of "[C]" numbers when the component doesn't fix it: the digits
// of the last number a run of `count` files would reach.
int implicitCounterWidth(qint64 value, qint64 step, qsizetype count) {
    const quint64 sum = quint64(count) * quint64(step) + quint64(value);
    if (sum == 0)
        return 1;
    return int(std::floor(std::log10(double(sum)))) + 1;
}

void prepareComponents(const QStringList& components, qsizetype entityCount, CompileState& state) {
    for (const QString& component : components) {
        if (component.startsWith(QLatin1String("[C]"))) {
            const QStringList pieces = component.mid(3).split(QLatin1Char(':'));
            state.counterValue = TextValues::integerValue(pieces[0]);
            if (pieces.size() > 1)
                state.counterStep = TextValues::integerValue(pieces[1]);
            // A width beyond a file name's length, or below 0, makes no name.
            state.counterWidth = pieces.size() > 2 ? int(std::clamp<qint64>(TextValues::integerValue(pieces[2]), 0, 255))
                                                   : implicitCounterWidth(state.counterValue, state.counterStep, entityCount);
        } else if (component.startsWith(QLatin1String("[N]"))) {
            const QString rest = component.mid(3);
            if (rest.isEmpty())
                continue;
            const QByteArray data = QByteArray::fromBase64(rest.toLatin1());
            if (data.isEmpty())
                continue;
            const URL url = resolve(data);
            if (url.isEmpty())
                continue;
            state.names = nonEmptyLines(readText(url));
            state.namesIndex = 0;
        }
    }
}

// NSObject's description of a metadata value.
QString describe(const QVariant& value) {
    if (Variant::isDate(value))
        return value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
    // Reals with the digits their type holds (16 of a double, 7 of a float),
    // so that a tempo of 120.1 names "120.1" and not its binary remainder.
    if (value.typeId() == QMetaType::Double)
        return QString::number(value.toDouble(), 'g', 16);
    if (value.typeId() == QMetaType::Float)
        return QString::number(value.toFloat(), 'g', 7);
    return Variant::describe(value);
}

QString propertyText(const QString& title, const AudioProcessCommandInstructions& instructions,
                     const FileEntity& entity) {
    const QString key = AudioProcessCommandGroupCompiler::metadataKeyForTitle(title);
    if (key.isEmpty())
        return QString();
    QVariant value;
    bool found = false;
    for (const auto& property : instructions.propertyInstructions())
        if (property->key() == key) {
            value = property->value();
            found = true;
        }
    if (!found)
        value = entity.valueForKey(key);
    if (Variant::isNullOrAbsent(value))
        return QString();
    if (Variant::isList(value)) {
        const QVariantList list = value.toList();
        if (list.isEmpty())
            return QString();
        value = list.first();
    }
    return describe(value);
}

QString counterText(CompileState& state) {
    char buffer[300];
    std::snprintf(buffer, sizeof buffer, "%0*lld", state.counterWidth.value_or(0), (long long)state.counterValue);
    state.counterValue = qint64(quint64(state.counterValue) + quint64(state.counterStep));
    return QString::fromLatin1(buffer);
}

QString nameOf(const QString& entityName, const QStringList& components, const AudioProcessCommandInstructions& instructions,
               const FileEntity& entity, CompileState& state) {
    if (components.isEmpty())
        return nameWithoutExtension(entityName);
    QString name;
    for (const QString& component : components) {
        if (component.startsWith(QLatin1String("[F]"))) {
            name += nameWithoutExtension(entityName);
        } else if (component.startsWith(QLatin1String("[P]"))) {
            name += propertyText(component.mid(3), instructions, entity);
        } else if (component.startsWith(QLatin1String("[A]"))) {
            const QString key = component.mid(3);
            if (key.isEmpty())
                continue;
            const QVariant value = entity.valueForKey(key);
            if (Variant::isNullOrAbsent(value))
                continue;
            if (const auto formatter = FormatterController::sharedInstance()->formatterForKey(key))
                name += formatter->stringForObjectValue(value);
        } else if (component.startsWith(QLatin1String("[C]"))) {
            name += counterText(state);
        } else if (component.startsWith(QLatin1String("[N]"))) {
            if (state.namesIndex < state.names.size())
                name += state.names[state.namesIndex++];
        } else if (component.startsWith(QLatin1String("[D]"))) {
            name += SaveActionFilenameDateToken::stringFromDate(QDateTime::currentDateTime(),
                                                                TextValues::integerValue(QStringView(component).mid(3)));
        } else if (component.startsWith(QLatin1String("[T]"))) {
            name += QStringView(component).mid(3);
        }
    }
    return name;
}

QString groupName(const QStringList& names) {
    if (names.isEmpty())
        return VMKLocalizedString(QStringLiteral("AudioProcessCommandGroup_processGroupName_save"));
    if (names.size() == 1)
        return names.first();
    return names.mid(0, names.size() - 1).join(QStringLiteral(", ")) +
           QStringLiteral(" %1 %2").arg(VMKLocalizedString(QStringLiteral("AudioProcessCommandGroup_processGroupName_conjunction")),
                                        names.last());
}

qsizetype commonPathLength(const Entities& entities) {
    if (entities.empty())
        return 0;
    const auto firstURLs = entities.front()->URLs();
    const QStringList reference = firstURLs.empty() ? QStringList() : firstURLs.front().pathComponents();
    qsizetype common = reference.size();
    for (const auto& entity : entities) {
        const auto urls = entity->URLs();
        const QStringList components = urls.empty() ? QStringList() : urls.front().pathComponents();
        const qsizetype end = std::min(components.size(), common);
        for (qsizetype i = 0; i < end; ++i)
            if (components[i] != reference[i]) {
                common = i;
                break;
            }
    }
    return common;
}

} // namespace

QString AudioProcessCommandGroupCompiler::metadataKeyForTitle(const QString& title) {
    return VMKAudioMetadata::keyForTitle(title);
}

QString AudioProcessCommandGroupCompiler::cleanFilename(const QString& name) {
    QString clean;
    clean.reserve(name.size());
    for (qsizetype i = 0; i < name.size(); ++i) {
        char32_t c = name[i].unicode();
        qsizetype units = 1;
        if (QChar::isHighSurrogate(c) && i + 1 < name.size() && name[i + 1].isLowSurrogate()) {
            c = QChar::surrogateToUcs4(name[i], name[i + 1]);
            units = 2;
        }
        const QChar::Category category = QChar::category(c);
        if (category != QChar::Other_Control && category != QChar::Other_Format) {
            if (c == U'/')
                clean += QLatin1Char('-');
            else
                clean += QStringView(name).mid(i, units);
        }
        i += units - 1;
    }
    return clean;
}

std::shared_ptr<AudioProcessCommandGroup> AudioProcessCommandGroupCompiler::initWithEntities(
    const Entities& entities, const Actions& callerActions, const std::shared_ptr<Action>& saveAction) {
    auto group = std::make_shared<AudioProcessCommandGroup>();
    const SaveOptions save = saveOptionsOf(saveAction);

    // File process commands, and the names of the audio steps.
    std::vector<ObjectPtr> fileProcessCommands;
    if (save.addResults)
        fileProcessCommands.push_back(std::make_shared<AddFilesFileProcessCommand>());
    QStringList names;
    for (const auto& action : callerActions) {
        if (ObjectPtr command = action->fileProcessCommand())
            fileProcessCommands.push_back(std::move(command));
        else
            names.append(action->name().value_or(Action::identifierForClassName(action->className())));
    }
    group->setName(groupName(names));

    CompileState state;
    state.commonLength = commonPathLength(entities);

    // A split file comes out split again, unless an action deals with
    // channels itself. Only the first entity decides.
    Actions actions = callerActions;
    if (!entities.empty()) {
        const QString delimiter = entities.front()->channelSuffixDelimiter();
        const bool prevented = std::any_of(actions.begin(), actions.end(), [](const std::shared_ptr<Action>& action) {
            return action->preventInherentChannelSuffixDelimiter();
        });
        if (!delimiter.isEmpty() && !prevented) {
            auto extract = std::make_shared<ExtractChannelsAction>();
            extract->setSuffixDelimiter(delimiter);
            actions.push_back(std::move(extract));
        }
    }

    prepareComponents(save.filenameComponents, qsizetype(entities.size()), state);

    std::vector<std::shared_ptr<AudioProcessCommand>> commands;
    commands.reserve(entities.size());
    for (const auto& entity : entities) {
        for (const auto& action : actions)
            action->willBeginConstructingProcessForFileEntity(entity, entities);
        qsizetype processes = 1;
        for (const auto& action : actions)
            processes = std::max(processes, action->numberOfProcessesForFileEntity(entity));
        const auto urls = entity->URLs();
        const QStringList pathComponents = urls.empty() ? QStringList() : urls.front().pathComponents();
        const QString entityName = entity->name();

        for (qsizetype process = 0; process < processes; ++process) {
            auto sources = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
            auto main = std::make_shared<AudioProcessCommandSourceInstructions>();
            main->setFileEntity(entity);
            sources->insertObjectInSourceInstructionsAtIndex(main, 0);
            for (const auto& action : actions)
                action->compileSourceInstructions(sources, process);

            auto instructions = std::make_shared<AudioProcessCommandInstructions>();
            for (const auto& action : actions)
                action->compileInstructions(instructions, sources, process);

            URL destination;
            if (!save.destinationBookmark.isEmpty()) {
                destination = resolve(save.destinationBookmark);
            } else {
                // Only checks that the source can still be found; the writer
                // puts the output next to it.
                const auto bookmarks = entity->bookmarks();
                if (!bookmarks.isEmpty())
                    resolve(bookmarks.front());
            }
            if (save.preserveHierarchy && !destination.isEmpty())
                for (qsizetype i = state.commonLength; i < pathComponents.size() - 1; ++i)
                    destination = destination.URLByAppendingPathComponent(pathComponents[i]);

            QString name = nameOf(entityName, save.filenameComponents, *instructions, *entity, state);
            for (const auto& action : actions)
                if (auto proposed = action->filenameForProposedFilename(name, entity, process); proposed && !proposed->isEmpty())
                    name = std::move(*proposed);

            auto command = std::make_shared<AudioProcessCommand>();
            command->setSourceInstructionsGroup(sources);
            command->setProcessInstructions(instructions);
            command->setDestination(destination);
            command->setFilename(cleanFilename(name));
            command->setReplaceOriginal(save.replaceOriginal);
            commands.push_back(std::move(command));
        }
        for (const auto& action : actions)
            action->didEndConstructingProcess();
    }
    group->setAudioProcessCommands(commands);
    group->setFileProcessCommands(fileProcessCommands);
    return group;
}

} // namespace ondrel
