#include "render/engine/graph/VMKAudioComponentRegistry.h"

#include "core/objects/ClassInfo.h"
#include "render/engine/effects/APLDynamicsAudioProcessor.h"
#include "render/engine/graph/VMKAudioProcessor.h"
#include "render/engine/graph/VMKEngineError.h"

#include <map>
#include <mutex>
#include <tuple>

namespace ondrel {

namespace {
using Key = std::tuple<uint32_t, uint32_t, uint32_t>;

struct Table {
    std::mutex mutex;
    std::map<Key, QString> classes;
};

Table& table() {
    static Table* shared = [] {
        auto* made = new Table;  // lives for the process
        APLDynamicsAudioProcessor::staticClassInfo();
        made->classes[{VMKAudioComponentRegistry::fourCharCode(QStringLiteral("aufx")),
                       VMKAudioComponentRegistry::fourCharCode(QStringLiteral("dcmp")),
                       VMKAudioComponentRegistry::fourCharCode(QStringLiteral("appl"))}] =
            QStringLiteral("APLDynamicsAudioProcessor");
        return made;
    }();
    return *shared;
}
} // namespace

uint32_t VMKAudioComponentRegistry::fourCharCode(const QString& code) {
    if (code.size() != 4)
        return 0;
    uint32_t value = 0;
    for (QChar ch : code) {
        if (ch.unicode() > 0xFF)
            return 0;
        value = (value << 8) | ch.unicode();
    }
    return value;
}

QString VMKAudioComponentRegistry::stringFromFourCharCode(uint32_t code) {
    QString text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text.append(QChar(char16_t((code >> shift) & 0xFF)));
    return text;
}

void VMKAudioComponentRegistry::registerComponent(uint32_t type, uint32_t subType, uint32_t manufacturer,
                                                  const QString& className) {
    Table& t = table();
    std::lock_guard lock(t.mutex);
    t.classes[{type, subType, manufacturer}] = className;
}

QString VMKAudioComponentRegistry::classNameForComponent(uint32_t type, uint32_t subType, uint32_t manufacturer) {
    Table& t = table();
    std::lock_guard lock(t.mutex);
    const auto it = t.classes.find({type, subType, manufacturer});
    return it == t.classes.end() ? QString() : it->second;
}

std::shared_ptr<VMKAudioProcessor> VMKAudioComponentRegistry::processorForComponent(uint32_t type, uint32_t subType,
                                                                                   uint32_t manufacturer,
                                                                                   VMKError* error) {
    const QString className = classNameForComponent(type, subType, manufacturer);
    auto processor = std::dynamic_pointer_cast<VMKAudioProcessor>(ClassRegistry::create(className));
    if (!processor)
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorInvalidArgument,
                                                     QStringLiteral("Making an effect component"),
                                                     QStringLiteral("No effect component '%1' '%2' '%3' is installed")
                                                         .arg(stringFromFourCharCode(type),
                                                              stringFromFourCharCode(subType),
                                                              stringFromFourCharCode(manufacturer))));
    return processor;
}

} // namespace ondrel
