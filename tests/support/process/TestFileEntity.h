#pragma once

#include "core/objects/Object.h"

namespace ondrel {

// The process model only holds files; the catalog defines the real class.
// This suite's own file has just what the records ask of one: a length in
// seconds, by key.
class FileEntity : public Object {
    ONDREL_OBJECT(FileEntity, Object)
public:
    explicit FileEntity(double length = 0.0) : m_length(length) {}
    double length() const { return m_length; }
    void setLength(double length) { setAndNotify(QStringLiteral("length"), m_length, length); }

private:
    double m_length;
};

} // namespace ondrel
