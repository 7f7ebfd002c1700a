#pragma once

#include "core/objects/Object.h"

#include <memory>

namespace ondrel {

// A colour as hue, saturation, brightness and alpha, each from 0 to 1. The
// logic keeps colours as values (for instance in the defaults, archived); the
// desktop program turns them into its own colour type to paint.
class Color : public Object {
    ONDREL_OBJECT(Color, Object)
public:
    Color() = default;  // opaque black
    Color(double hue, double saturation, double brightness, double alpha);

    static std::shared_ptr<Color> colorWithHue(double hue, double saturation, double brightness, double alpha);
    // The program's own green, the default colour of waveforms.
    static std::shared_ptr<Color> ondrelGreenColor();

    double hueComponent() const { return m_hue; }
    double saturationComponent() const { return m_saturation; }
    double brightnessComponent() const { return m_brightness; }
    double alphaComponent() const { return m_alpha; }

    // Equal when all four components are.
    bool isEqual(const Object& other) const override;
    QString description() const override;

    bool isArchivable() const override { return true; }
    void encodeWithCoder(KeyedArchiver& coder) const override;
    void initWithCoder(const KeyedUnarchiver& coder) override;

private:
    double m_hue = 0.0;
    double m_saturation = 0.0;
    double m_brightness = 0.0;
    double m_alpha = 1.0;
};

} // namespace ondrel
