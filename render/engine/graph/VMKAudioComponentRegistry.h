#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QString>

#include <cstdint>
#include <memory>

namespace ondrel {

class VMKAudioProcessor;

// Built-in effect components by their three four-character codes (type,
// subtype, manufacturer), each standing for a processor class. An effect
// stored with component codes is made here; one stored with a class name is
// made by the class registry. Thread safe; not for the render thread.
//
// Built in: 'aufx' 'dcmp' 'appl' (dynamics) -> APLDynamicsAudioProcessor.
class VMKAudioComponentRegistry {
public:
    // 'abcd' as a number, first character in the high byte. Texts other than
    // four Latin-1 characters answer 0.
    static uint32_t fourCharCode(const QString& code);
    static QString stringFromFourCharCode(uint32_t code);

    static void registerComponent(uint32_t type, uint32_t subType, uint32_t manufacturer, const QString& className);
    // The class name, or empty for an unknown component.
    static QString classNameForComponent(uint32_t type, uint32_t subType, uint32_t manufacturer);
    // A new processor of the component's class; empty with an error for an unknown one.
    static std::shared_ptr<VMKAudioProcessor> processorForComponent(uint32_t type, uint32_t subType,
                                                                    uint32_t manufacturer, VMKError* error = nullptr);
};

} // namespace ondrel
