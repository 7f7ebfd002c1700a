#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"

#include "process/instructions/RecordLists.h"
#include "process/instructions/ScriptArguments.h"

#include <QtCore/QStringList>

#include <algorithm>
#include <limits>

namespace ondrel {

const ClassInfo& AudioProcessCommandSourceInstructionsGroup::staticClassInfo() {
    using C = AudioProcessCommandSourceInstructionsGroup;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandSourceInstructionsGroup"))
            .property(QStringLiteral("sourceInstructions"), &C::sourceInstructions, &C::setSourceInstructions)
            .property(QStringLiteral("mainSourceInstructions"), &C::mainSourceInstructions)
            .property(QStringLiteral("range"), &C::range);
    return info;
}

void AudioProcessCommandSourceInstructionsGroup::setSourceInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandSourceInstructions>>& list) {
    setAndNotify(QStringLiteral("sourceInstructions"), m_sourceInstructions, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommandSourceInstructions>
AudioProcessCommandSourceInstructionsGroup::objectInSourceInstructionsAtIndex(qsizetype index) const {
    return RecordLists::objectAtIndex(m_sourceInstructions, index);
}

void AudioProcessCommandSourceInstructionsGroup::insertObjectInSourceInstructionsAtIndex(
    std::shared_ptr<AudioProcessCommandSourceInstructions> object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("sourceInstructions"), m_sourceInstructions, std::move(object),
                        RecordLists::insertionIndex(m_sourceInstructions, index));
}

void AudioProcessCommandSourceInstructionsGroup::removeObjectFromSourceInstructionsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_sourceInstructions, index))
        removeAndNotify(QStringLiteral("sourceInstructions"), m_sourceInstructions, index);
}

std::shared_ptr<AudioProcessCommandSourceInstructions>
AudioProcessCommandSourceInstructionsGroup::mainSourceInstructions() const {
    return m_sourceInstructions.empty() ? nullptr : m_sourceInstructions.front();
}

DoubleRange AudioProcessCommandSourceInstructionsGroup::range() const {
    double start = std::numeric_limits<double>::max();
    double end = 0.0;
    for (const auto& source : m_sourceInstructions) {
        double length = source->length().value_or(0.0);
        if (length == 0.0) {
            const ObjectPtr file = source->fileEntityObject();
            length = file ? file->valueForKey(QStringLiteral("length")).toDouble() : 0.0;
        }
        const double location = source->location().value_or(0.0);
        start = std::min(start, location);
        end = std::max(end, location + length);
    }
    return DoubleRange{start, end - start};
}

QString AudioProcessCommandSourceInstructionsGroup::scriptDescription() const {
    QStringList texts;
    for (const auto& source : m_sourceInstructions)
        texts.append(source->scriptDescription());
    return QLatin1Char('{') + texts.join(QLatin1Char(',')) + QLatin1Char('}');
}

std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> AudioProcessCommandSourceInstructionsGroup::
    initWithScriptArguments(const QVariant& arguments, VMKError* error) {
    QVariantList list;
    if (!ScriptArguments::list(arguments, QStringLiteral("the sources"), QStringLiteral("sources"), list, error))
        return nullptr;
    auto group = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
    for (const QVariant& element : list) {
        auto source = AudioProcessCommandSourceInstructions::initWithScriptArguments(element, error);
        if (!source)
            return nullptr;
        group->m_sourceInstructions.push_back(std::move(source));
    }
    return group;
}

} // namespace ondrel
