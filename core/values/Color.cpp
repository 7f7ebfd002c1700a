#include "core/values/Color.h"

#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"

namespace ondrel {

namespace {

const QString kHueKey = QStringLiteral("hue");
const QString kSaturationKey = QStringLiteral("saturation");
const QString kBrightnessKey = QStringLiteral("brightness");
const QString kAlphaKey = QStringLiteral("alpha");

} // namespace

const ClassInfo& Color::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Color, Object>(QStringLiteral("Color"))
                                       .property(QStringLiteral("hueComponent"), &Color::hueComponent)
                                       .property(QStringLiteral("saturationComponent"), &Color::saturationComponent)
                                       .property(QStringLiteral("brightnessComponent"), &Color::brightnessComponent)
                                       .property(QStringLiteral("alphaComponent"), &Color::alphaComponent);
    return info;
}

Color::Color(double hue, double saturation, double brightness, double alpha)
    : m_hue(hue), m_saturation(saturation), m_brightness(brightness), m_alpha(alpha) {}

std::shared_ptr<Color> Color::colorWithHue(double hue, double saturation, double brightness, double alpha) {
    return std::make_shared<Color>(hue, saturation, brightness, alpha);
}

std::shared_ptr<Color> Color::ondrelGreenColor() { return colorWithHue(0.46, 0.956, 0.7176, 1.0); }

bool Color::isEqual(const Object& other) const {
    const auto* color = dynamic_cast<const Color*>(&other);
    return color && color->m_hue == m_hue && color->m_saturation == m_saturation &&
           color->m_brightness == m_brightness && color->m_alpha == m_alpha;
}

QString Color::description() const {
    return QStringLiteral("Color(hue %1, saturation %2, brightness %3, alpha %4)")
        .arg(m_hue)
        .arg(m_saturation)
        .arg(m_brightness)
        .arg(m_alpha);
}

void Color::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeDouble(m_hue, kHueKey);
    coder.encodeDouble(m_saturation, kSaturationKey);
    coder.encodeDouble(m_brightness, kBrightnessKey);
    coder.encodeDouble(m_alpha, kAlphaKey);
}

void Color::initWithCoder(const KeyedUnarchiver& coder) {
    m_hue = coder.decodeDoubleForKey(kHueKey);
    m_saturation = coder.decodeDoubleForKey(kSaturationKey);
    m_brightness = coder.decodeDoubleForKey(kBrightnessKey);
    // An archive without alpha is opaque.
    m_alpha = coder.containsValueForKey(kAlphaKey) ? coder.decodeDoubleForKey(kAlphaKey) : 1.0;
}

} // namespace ondrel
