#include "cli/CatalogCommand.h"

#include "catalog/controller/EntityController.h"
#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/entities/Label.h"
#include "cli/AnalyzeCommand.h"
#include "cli/Output.h"
#include "shell/formatters/FormatterController.h"
#include "core/storage/PropertyList.h"
#include "core/storage/UserDefaults.h"

#include <QtCore/QDir>

namespace ondrel {

namespace {

QString kindOf(const Entity& entity) {
    if (!entity.isLeaf())
        return QStringLiteral("group");
    const auto* file = dynamic_cast<const FileEntity*>(&entity);
    return file && !file->channelSuffixDelimiter().isEmpty() ? QStringLiteral("split file") : QStringLiteral("file");
}

QStringList pathsOf(const Entity& entity) {
    QStringList paths;
    for (const URL& url : entity.URLs())
        paths << url.path();
    return paths;
}

// A bookmark as the values it keeps (path, device, inode ...); empty data
// (a free group, the root) as null.
QVariant plainBookmark(const QByteArray& data) {
    if (data.isEmpty())
        return {};
    const QVariant plist = PropertyList::propertyListWithData(data);
    return plist.isValid() ? plist : QVariant(data);
}

QVariant optionalFloat(float value, float absent) { return value == absent ? QVariant() : QVariant(double(value)); }

QVariantMap fileFields(const FileEntity& file) {
    QVariantMap fields{
        {QStringLiteral("dateAdded"), file.dateAdded()},
        {QStringLiteral("dateModified"), file.dateModified()},
        {QStringLiteral("format"), file.format()},
        {QStringLiteral("encoding"), file.encoding()},
        {QStringLiteral("channelSuffixDelimiter"), file.channelSuffixDelimiter()},
        {QStringLiteral("fileSize"), file.fileSize()},
        {QStringLiteral("frames"), file.frames()},
        {QStringLiteral("channels"), file.channels()},
        {QStringLiteral("bitDepth"), file.bitDepth()},
        {QStringLiteral("floatingPoint"), file.isFloatingPoint()},
        {QStringLiteral("bitrate"), file.bitrate()},
        {QStringLiteral("sampleRate"), file.sampleRate()},
        {QStringLiteral("length"), file.length()},
        {QStringLiteral("countOfMarkers"), file.countOfMarkers()},
        {QStringLiteral("countOfSlices"), file.countOfSlices()},
        {QStringLiteral("countOfRegions"), file.countOfRegions()},
        {QStringLiteral("countOfLoops"), file.countOfLoops()},
        {QStringLiteral("difference"), double(file.difference())},
        {QStringLiteral("detectedSemitone"), file.detectedSemitone()},
        {QStringLiteral("programLoudness"), double(file.programLoudness())},
        {QStringLiteral("midPeak"), double(file.midPeak())},
        {QStringLiteral("sidePeak"), double(file.sidePeak())},
        {QStringLiteral("loudnessRange"), double(file.loudnessRange())},
        {QStringLiteral("truePeak"), optionalFloat(file.truePeak(), FileEntity::TruePeakNotMeasured)},
        {QStringLiteral("peak"), double(file.peak())},
        {QStringLiteral("positiveMaximum"), double(file.positiveMaximum())},
        {QStringLiteral("negativeMaximum"), double(file.negativeMaximum())},
        {QStringLiteral("peakToPeak"), double(file.peakToPeak())},
        {QStringLiteral("RMS"), double(file.RMS())},
        {QStringLiteral("average"), double(file.average())},
        {QStringLiteral("DCOffset"), double(file.DCOffset())},
        {QStringLiteral("formFactor"), double(file.formFactor())},
        {QStringLiteral("crestFactor"), double(file.crestFactor())},
        {QStringLiteral("countOfClipEvents"), file.countOfClipEvents()},
        {QStringLiteral("metadata"), file.metadata()},
    };
    QVariantList labels;
    for (const auto& label : file.labels())
        labels << QVariantMap{{QStringLiteral("type"), label->type()},
                              {QStringLiteral("location"), label->location()},
                              {QStringLiteral("length"), label->length()},
                              {QStringLiteral("name"), label->name()}};
    fields.insert(QStringLiteral("labels"), labels);
    QVariantList channels;
    for (const auto& details : file.channelDetails())
        channels << QVariantMap{{QStringLiteral("peak"), double(details->peak())},
                                {QStringLiteral("positiveMaximum"), double(details->positiveMaximum())},
                                {QStringLiteral("negativeMaximum"), double(details->negativeMaximum())},
                                {QStringLiteral("peakToPeak"), double(details->peakToPeak())},
                                {QStringLiteral("RMS"), double(details->RMS())},
                                {QStringLiteral("average"), double(details->average())},
                                {QStringLiteral("DCOffset"), double(details->DCOffset())},
                                {QStringLiteral("formFactor"), double(details->formFactor())},
                                {QStringLiteral("crestFactor"), double(details->crestFactor())},
                                {QStringLiteral("countOfClipEvents"), details->countOfClipEvents()}};
    fields.insert(QStringLiteral("channelDetails"), channels);
    return fields;
}

// The format facts of a file on one line: "WAVE File, PCM, 2 ch, 48000 Hz, 24 bit, 2.500 s".
QString factsOf(const Entity& entity) {
    if (const auto* group = dynamic_cast<const GroupEntity*>(&entity)) {
        const QString count = QStringLiteral("%1 entities").arg(group->countOfEntities());
        return entity.URLs().empty() ? QStringLiteral("free, ") + count : count;
    }
    const auto* file = dynamic_cast<const FileEntity*>(&entity);
    if (!file)
        return {};
    QStringList facts{file->format(), file->encoding(), QStringLiteral("%1 ch").arg(file->channels()),
                      QStringLiteral("%1 Hz").arg(file->sampleRate())};
    if (file->bitDepth() > 0)
        facts << QStringLiteral("%1 bit%2").arg(file->bitDepth()).arg(file->isFloatingPoint() ? QStringLiteral(" float") : QString());
    facts << QStringLiteral("%1 s").arg(file->length(), 0, 'f', 3);
    facts.removeAll(QString());
    return facts.join(QStringLiteral(", "));
}

// Children as the list shows them: groups first, then files, each in the
// catalog's order, which is the same from one start to the next.
std::vector<EntityPtr> childrenInListOrder(const GroupEntity& group) {
    std::vector<EntityPtr> children = group.groupEntities();
    for (const EntityPtr& file : group.fileEntities())
        children.push_back(file);
    return children;
}

void listGroup(const GroupEntity& group, int depth, bool tree, QVariantList& json) {
    for (const EntityPtr& child : childrenInListOrder(group)) {
        const auto* childGroup = dynamic_cast<const GroupEntity*>(child.get());
        if (Output::isJson()) {
            QVariantMap fields = CatalogCommand::fieldsOf(*child);
            if (tree && childGroup) {
                QVariantList children;
                listGroup(*childGroup, depth + 1, tree, children);
                fields.insert(QStringLiteral("entities"), children);
            }
            json << fields;
            if (tree || !childGroup)
                continue;
        } else {
            const QString indent = tree ? QString(depth * 2, QLatin1Char(' ')) : QString();
            QString line = QStringLiteral("%1  %2  %3%4  %5  %6")
                               .arg(child->ID(), kindOf(*child).leftJustified(10), indent, Output::oneLine(child->name()),
                                    Output::oneLine(pathsOf(*child).join(QStringLiteral(", "))), factsOf(*child));
            if (const auto* file = dynamic_cast<const FileEntity*>(child.get()))
                line += QStringLiteral("  ") + AnalyzeCommand::mainMeasures(*file);
            Output::line(line);
        }
        if (childGroup)
            listGroup(*childGroup, depth + 1, tree, json);
    }
}

// The formatter of the last key of a path ("channelDetails[2].peak" that of
// "peak"), or null.
std::shared_ptr<Formatter> formatterOfPath(const QString& path) {
    QString key = path.section(QLatin1Char('.'), -1);
    key.truncate(key.indexOf(QLatin1Char('[')) < 0 ? key.size() : key.indexOf(QLatin1Char('[')));
    return FormatterController::sharedInstance()->formatterForKey(key);
}

// A value as the desktop program shows it, by the formatter of its path;
// without one, as the command line writes values.
QString formatted(const QString& path, const QVariant& value) {
    if (const auto formatter = formatterOfPath(path))
        return formatter->stringForObjectValue(value);
    return Output::toText(value);
}

// "key: value" lines, nested lists and dictionaries by their paths ("labels[1].name"),
// each value formatted. A list whose key has a formatter (the descriptors)
// is one value to it, shown whole.
void printFlattened(const QString& key, const QVariant& value) {
    const bool isList = value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
    if (isList && !key.isEmpty() && formatterOfPath(key)) {
        Output::line(key + QStringLiteral(": ") + formatted(key, value));
    } else if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        if (map.isEmpty() && !key.isEmpty())
            Output::line(key + QStringLiteral(": {}"));
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            printFlattened(key.isEmpty() ? it.key() : key + QLatin1Char('.') + it.key(), it.value());
    } else if (value.typeId() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        if (list.isEmpty())
            Output::line(key + QStringLiteral(": []"));
        for (qsizetype i = 0; i < list.size(); ++i)
            printFlattened(QStringLiteral("%1[%2]").arg(key).arg(i + 1), list[i]);
    } else if (value.typeId() == QMetaType::QStringList) {
        printFlattened(key, QVariant(QVariantList(value.toStringList().cbegin(), value.toStringList().cend())));
    } else {
        Output::line(key + QStringLiteral(": ") + (value.isValid() ? formatted(key, value) : QStringLiteral("none")));
    }
}

std::shared_ptr<GroupEntity> groupNamed(const QString& name) {
    std::vector<EntityPtr> found;
    if (!CatalogCommand::entitiesNamed({name}, found))
        return nullptr;
    auto group = std::dynamic_pointer_cast<GroupEntity>(found.front());
    if (!group)
        Output::usage(QStringLiteral("'%1' is a file, not a group").arg(name));
    return group;
}

// Takes the entity out of its parent and puts it at the end of `group`; the
// caller's reference keeps it (and its rows) alive in between.
void moveEntity(const EntityPtr& entity, GroupEntity& group) {
    if (auto parent = entity->parent())
        parent->removeObjectFromEntitiesAtIndex(parent->indexOfObjectInEntities(entity.get()));
    group.insertObjectInEntitiesAtIndex(entity, group.countOfEntities());
}

bool isWithin(const Entity& entity, const Entity& ancestor) {
    for (auto parent = entity.parent(); parent; parent = parent->parent())
        if (parent.get() == &ancestor)
            return true;
    return false;
}

} // namespace

bool CatalogCommand::entitiesNamed(const QStringList& names, std::vector<EntityPtr>& entities) {
    auto controller = EntityController::sharedInstance();
    for (const QString& name : names) {
        EntityPtr entity = controller->entityNamed(name);
        if (!entity && !name.isEmpty())
            entity = controller->entityNamed(QDir::cleanPath(QDir::current().absoluteFilePath(name)));
        if (!entity) {
            Output::usage(QStringLiteral("no entity in the catalog is named '%1' (an ID, or the path of a file or folder in it)")
                              .arg(Output::oneLine(name)));
            return false;
        }
        entities.push_back(std::move(entity));
    }
    return true;
}

QVariantMap CatalogCommand::fieldsOf(const Entity& entity) {
    QVariantMap fields{
        {QStringLiteral("ID"), entity.ID()},
        {QStringLiteral("kind"), kindOf(entity)},
        {QStringLiteral("name"), entity.name()},
        {QStringLiteral("files"), pathsOf(entity)},
    };
    const auto parent = entity.parent();
    fields.insert(QStringLiteral("parent"), parent && !parent->ID().isEmpty() ? QVariant(parent->ID()) : QVariant());
    QVariantList bookmarks;
    for (const QByteArray& data : entity.bookmarks())
        bookmarks << plainBookmark(data);
    fields.insert(QStringLiteral("bookmarks"), bookmarks);
    if (const auto* group = dynamic_cast<const GroupEntity*>(&entity)) {
        fields.insert(QStringLiteral("countOfEntities"), group->countOfEntities());
        fields.insert(QStringLiteral("bound"), !entity.URLs().empty());
    } else if (const auto* file = dynamic_cast<const FileEntity*>(&entity)) {
        fields.insert(fileFields(*file));
    }
    return fields;
}

int CatalogCommand::list(const QStringList& arguments) {
    bool tree = false;
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--tree"))
            tree = true;
        else
            return Output::usage(QStringLiteral("list takes only --tree, not '%1'").arg(argument));
    }
    QVariantList json;
    if (auto root = EntityController::sharedInstance()->rootGroup())
        listGroup(*root, 0, tree, json);
    if (Output::isJson())
        Output::printJson(json);
    return Output::Done;
}

int CatalogCommand::show(const QStringList& arguments) {
    if (arguments.size() != 1)
        return Output::usage(QStringLiteral("show takes one ID or path"));
    std::vector<EntityPtr> found;
    if (!entitiesNamed(arguments, found))
        return Output::WrongUsage;
    const QVariantMap fields = fieldsOf(*found.front());
    if (Output::isJson())
        Output::printJson(fields);
    else
        printFlattened(QString(), fields);
    return Output::Done;
}

int CatalogCommand::remove(const QStringList& arguments) {
    if (arguments.isEmpty())
        return Output::usage(QStringLiteral("remove needs the IDs or paths of what to remove"));
    std::vector<EntityPtr> entities;
    if (!entitiesNamed(arguments, entities))
        return Output::WrongUsage;
    for (const EntityPtr& entity : entities) {
        if (auto parent = entity->parent()) {
            const qsizetype index = parent->indexOfObjectInEntities(entity.get());
            if (index >= 0)
                parent->removeObjectFromEntitiesAtIndex(index);
        }
        if (!Output::isQuiet() && !Output::isJson())
            Output::line(QStringLiteral("removed %1  %2").arg(entity->ID(), Output::oneLine(entity->name())));
    }
    if (Output::isJson()) {
        QStringList IDs;
        for (const EntityPtr& entity : entities)
            IDs << entity->ID();
        Output::printJson(QVariantMap{{QStringLiteral("removed"), IDs}});
    }
    // The last references go here; their rows are deleted as the program quits.
    return Output::Done;
}

int CatalogCommand::groupCreate(const QStringList& arguments) {
    QString name;
    QString in;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--in")) {
            if (++i == arguments.size())
                return Output::usage(QStringLiteral("--in needs a group ID or folder"));
            in = arguments[i];
        } else if (name.isNull()) {
            name = arguments[i];
        } else {
            return Output::usage(QStringLiteral("group create takes one NAME (and --in ID), not '%1'").arg(arguments[i]));
        }
    }
    if (name.trimmed().isEmpty())
        return Output::usage(QStringLiteral("group create needs a name"));
    auto parent = in.isNull() ? EntityController::sharedInstance()->rootGroup() : groupNamed(in);
    if (!parent)
        return Output::WrongUsage;
    auto group = GroupEntity::init();
    group->setName(name);
    parent->insertObjectInEntitiesAtIndex(group, parent->countOfEntities());
    if (Output::isJson())
        Output::printJson(fieldsOf(*group));
    else
        Output::line(group->ID());
    return Output::Done;
}

int CatalogCommand::groupRename(const QStringList& arguments) {
    if (arguments.size() != 2 || arguments[1].trimmed().isEmpty())
        return Output::usage(QStringLiteral("group rename takes a group ID and a new name"));
    auto group = groupNamed(arguments[0]);
    if (!group)
        return Output::WrongUsage;
    if (!group->URLs().empty())
        Output::error(QStringLiteral("note: %1 follows its folder, whose name it takes again at the next start; "
                                     "'group disconnect' keeps a name for good")
                          .arg(Output::oneLine(group->name())));
    group->setName(arguments[1]);
    return Output::Done;
}

int CatalogCommand::groupDisconnect(const QStringList& arguments) {
    if (arguments.size() != 1)
        return Output::usage(QStringLiteral("group disconnect takes one group ID"));
    auto group = groupNamed(arguments[0]);
    if (!group)
        return Output::WrongUsage;
    if (!group->URLs().empty())
        group->disconnectFromURL();
    return Output::Done;
}

int CatalogCommand::move(const QStringList& arguments) {
    const qsizetype to = arguments.indexOf(QStringLiteral("--to"));
    if (to < 1 || to != arguments.size() - 2)
        return Output::usage(QStringLiteral("move takes IDs, then --to and a group ID"));
    auto target = groupNamed(arguments.last());
    if (!target)
        return Output::WrongUsage;
    std::vector<EntityPtr> entities;
    if (!entitiesNamed(arguments.mid(0, to), entities))
        return Output::WrongUsage;
    for (const EntityPtr& entity : entities)
        if (entity.get() == target.get() || isWithin(*target, *entity))
            return Output::usage(QStringLiteral("'%1' can't go into itself").arg(Output::oneLine(entity->name())));
    for (const EntityPtr& entity : entities)
        moveEntity(entity, *target);
    return Output::Done;
}

int CatalogCommand::select(const QStringList& arguments) {
    std::vector<EntityPtr> entities;
    if (!entitiesNamed(arguments, entities))
        return Output::WrongUsage;
    auto controller = EntityController::sharedInstance();
    controller->setSelectedEntities(entities);
    // Only what the files area shows can be selected: the search string and
    // the filter may hide an entity.
    const QStringList selected = UserDefaults::standardUserDefaults()->stringArrayForKey(EntityController::SelectionKey);
    int status = Output::Done;
    for (const EntityPtr& entity : entities) {
        if (!selected.contains(entity->ID())) {
            Output::error(QStringLiteral("%1 is hidden by the files area's search or filter and was not selected")
                              .arg(Output::oneLine(entity->name())));
            status = Output::SomeItemFailed;
        }
    }
    const auto files = controller->selectedFileEntities();
    if (Output::isJson()) {
        QStringList IDs;
        for (const auto& file : files)
            IDs << file->ID();
        Output::printJson(QVariantMap{{QStringLiteral("selectedFileEntities"), IDs}});
    } else if (!Output::isQuiet()) {
        Output::line(QStringLiteral("%1 files selected").arg(files.size()));
    }
    return status;
}

} // namespace ondrel
