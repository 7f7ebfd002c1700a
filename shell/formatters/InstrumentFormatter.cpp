#include "shell/formatters/InstrumentFormatter.h"

#include "core/objects/Variant.h"

namespace ondrel {

QString InstrumentFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isString(value))
        return {};
    const QString path = value.toString();
    return path.mid(path.lastIndexOf(QLatin1Char('>')) + 1);
}

std::shared_ptr<Formatter> InstrumentFormatter::copy() const { return std::make_shared<InstrumentFormatter>(); }

} // namespace ondrel
