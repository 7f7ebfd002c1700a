#include "render/engine/files/VMKAudioLabel.h"

namespace ondrel {

const QString VMKAudioLabel::marker = QStringLiteral("marker");
const QString VMKAudioLabel::slice = QStringLiteral("slice");
const QString VMKAudioLabel::region = QStringLiteral("region");
const QString VMKAudioLabel::loop = QStringLiteral("loop");

const ClassInfo& VMKAudioLabel::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<VMKAudioLabel, Object>(QStringLiteral("VMKAudioLabel"))
                                       .property(QStringLiteral("type"), &VMKAudioLabel::type)
                                       .property(QStringLiteral("location"), &VMKAudioLabel::location,
                                                 &VMKAudioLabel::setLocation)
                                       .property(QStringLiteral("length"), &VMKAudioLabel::length,
                                                 &VMKAudioLabel::setLength)
                                       .property(QStringLiteral("name"), &VMKAudioLabel::name, &VMKAudioLabel::setName)
                                       .property(QStringLiteral("start"), &VMKAudioLabel::start)
                                       .property(QStringLiteral("end"), &VMKAudioLabel::end);
    return info;
}

VMKAudioLabel::VMKAudioLabel() = default;
VMKAudioLabel::~VMKAudioLabel() = default;

std::shared_ptr<VMKAudioLabel> VMKAudioLabel::labelOfType(const QString& type, const ClassInfo& labelClass) {
    auto label = std::dynamic_pointer_cast<VMKAudioLabel>(labelClass.create());
    if (!label)
        label = std::make_shared<VMKAudioLabel>();
    label->m_type = type;
    return label;
}

void VMKAudioLabel::setLocation(double location) { setAndNotify(QStringLiteral("location"), m_location, location); }

void VMKAudioLabel::setLength(double length) { setAndNotify(QStringLiteral("length"), m_length, length); }

void VMKAudioLabel::setName(const QString& name) { setAndNotify(QStringLiteral("name"), m_name, name); }

std::shared_ptr<VMKAudioLabel> VMKAudioLabel::copy() const {
    auto other = labelOfType(m_type, classInfo());
    copyValuesTo(*other);
    return other;
}

void VMKAudioLabel::copyValuesTo(VMKAudioLabel& other) const {
    other.m_type = m_type;
    other.m_location = m_location;
    other.m_length = m_length;
    other.m_name = m_name;
}

bool VMKAudioLabel::isEqual(const Object& other) const {
    const auto* label = dynamic_cast<const VMKAudioLabel*>(&other);
    return label && label->m_type == m_type && label->m_location == m_location && label->m_length == m_length &&
           label->m_name == m_name;
}

QString VMKAudioLabel::description() const {
    return QStringLiteral("<%1 %2 at %3 for %4 \"%5\">")
        .arg(className(), m_type)
        .arg(m_location)
        .arg(m_length)
        .arg(m_name);
}

} // namespace ondrel
