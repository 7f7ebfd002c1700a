#include "render/engine/files/VMKAudioFileLabels.h"

#include "render/engine/files/VMKAudioChunkFile.h"

#include <QtCore/QHash>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ondrel {

namespace {

using Kind = VMKAudioFileFormat::Kind;

// Bounds-checked reading of little- or big-endian fields.
class Cursor {
public:
    Cursor(const QByteArray& data, bool big) : m_data(data), m_big(big) {}
    bool has(qsizetype bytes) const { return m_at + bytes <= m_data.size(); }
    qsizetype position() const { return m_at; }
    void skip(qsizetype bytes) { m_at = std::min(m_data.size(), m_at + bytes); }
    template <class T>
    T read() {
        if (!has(sizeof(T))) {
            m_at = m_data.size();
            return T{};
        }
        const T v = m_big ? qFromBigEndian<T>(m_data.constData() + m_at) : qFromLittleEndian<T>(m_data.constData() + m_at);
        m_at += sizeof(T);
        return v;
    }
    double readDouble() {
        const quint64 bits = read<quint64>();
        double v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    }
    QByteArray bytes(qsizetype count) {
        count = std::clamp<qsizetype>(count, 0, m_data.size() - m_at);
        const QByteArray b = m_data.mid(m_at, count);
        m_at += count;
        return b;
    }

private:
    const QByteArray& m_data;
    qsizetype m_at = 0;
    bool m_big;
};

class Writer {
public:
    explicit Writer(bool big) : m_big(big) {}
    template <class T>
    Writer& put(T value) {
        T v = m_big ? qToBigEndian(value) : qToLittleEndian(value);
        m_data.append(reinterpret_cast<const char*>(&v), sizeof v);
        return *this;
    }
    Writer& putDouble(double value) {
        quint64 bits;
        std::memcpy(&bits, &value, sizeof bits);
        return put(bits);
    }
    Writer& raw(const QByteArray& bytes) {
        m_data.append(bytes);
        return *this;
    }
    const QByteArray& data() const { return m_data; }

private:
    QByteArray m_data;
    bool m_big;
};

// Text of a zero-terminated string field: UTF-8 when valid, else Latin-1.
QString textOf(const QByteArray& bytes) {
    QByteArray b = bytes;
    const qsizetype zero = b.indexOf('\0');
    if (zero >= 0)
        b.truncate(zero);
    const QString utf8 = QString::fromUtf8(b);
    return utf8.contains(QChar::ReplacementCharacter) ? QString::fromLatin1(b) : utf8;
}

std::shared_ptr<VMKAudioLabel> makeLabel(const QString& type, qint64 start, qint64 frames, const QString& name,
                                         double rate) {
    auto label = VMKAudioLabel::labelOfType(type);
    label->setLocation(double(start) / rate);
    label->setLength(double(frames) / rate);
    if (!name.isEmpty())
        label->setName(name);
    return label;
}

qint64 framesOf(double seconds, double rate) { return std::max<qint64>(0, std::llround(seconds * rate)); }

void sortLabels(VMKAudioLabelList& labels) {
    std::stable_sort(labels.begin(), labels.end(),
                     [](const auto& a, const auto& b) { return a->location() < b->location(); });
}

constexpr quint32 regionPurpose = fourCharCode("rgn ");
constexpr quint32 slicePurpose = fourCharCode("slic");

// ---- WAVE

QByteArray waveCueChunk(const std::vector<std::pair<quint32, qint64>>& points) {
    Writer w(false);
    w.put<quint32>(quint32(points.size()));
    for (const auto& [id, frame] : points)
        w.put<quint32>(id).put<quint32>(quint32(frame)).raw("data").put<quint32>(0).put<quint32>(0).put<quint32>(quint32(frame));
    return w.data();
}

QByteArray zeroTerminated(const QString& text) {
    QByteArray bytes = text.toUtf8();
    bytes.append('\0');
    return bytes;
}

void appendSubchunk(Writer& w, const char* id, const QByteArray& bytes) {
    w.raw(QByteArray(id, 4)).put<quint32>(quint32(bytes.size())).raw(bytes);
    if (bytes.size() & 1)
        w.raw(QByteArray(1, '\0'));
}

// ---- AIFF

QByteArray pascalString(const QString& text) {
    QByteArray bytes = text.toUtf8().left(255);
    QByteArray out(1, char(bytes.size()));
    out.append(bytes);
    if (out.size() & 1)
        out.append('\0');
    return out;
}

} // namespace

VMKAudioLabelList VMKAudioFileLabels::labelsOfWaveChunks(const VMKAudioChunkFile& file, double rate) {
    VMKAudioLabelList labels;
    struct Point {
        qint64 frame = 0;
        QString name;
        qint64 length = 0;
        quint32 purpose = 0;
        bool hasText = false;
    };
    QHash<quint32, Point> points;
    QList<quint32> order;
    if (const auto* cue = file.chunk("cue ")) {
        const QByteArray data = file.readChunk(*cue);
        Cursor c(data, file.isBigEndian());
        const quint32 count = c.read<quint32>();
        for (quint32 i = 0; i < count && c.has(24); ++i) {
            const quint32 id = c.read<quint32>();
            const quint32 position = c.read<quint32>();
            c.skip(12);  // chunk id, chunk start, block start
            const quint32 offset = c.read<quint32>();
            Point p;
            p.frame = offset == 0 && position != 0 ? position : offset;
            if (!points.contains(id))
                order.append(id);
            points.insert(id, p);
        }
    }
    for (const auto* list : file.chunksWithID("LIST")) {
        const QByteArray data = file.readChunk(*list);
        if (!data.startsWith("adtl"))
            continue;
        Cursor c(data, file.isBigEndian());
        c.skip(4);
        while (c.has(8)) {
            const QByteArray id = c.bytes(4);
            const quint32 size = c.read<quint32>();
            const QByteArray body = c.bytes(qsizetype(size));
            if (size & 1)
                c.skip(1);
            Cursor b(body, file.isBigEndian());
            const quint32 cueID = b.read<quint32>();
            if (!points.contains(cueID))
                continue;
            Point& p = points[cueID];
            if (id == "labl") {
                p.name = textOf(body.mid(4));
            } else if (id == "ltxt" && body.size() >= 20) {
                p.length = b.read<quint32>();
                p.purpose = qFromBigEndian<quint32>(body.constData() + 8);
                p.hasText = true;
            }
        }
    }
    // Loops of the sampler chunk; their cue points are not markers.
    QSet<quint32> loopIDs;
    if (const auto* smpl = file.chunk("smpl")) {
        const QByteArray data = file.readChunk(*smpl);
        Cursor c(data, file.isBigEndian());
        c.skip(28);
        const quint32 count = c.read<quint32>();
        c.skip(4);
        for (quint32 i = 0; i < count && c.has(24); ++i) {
            const quint32 id = c.read<quint32>();
            c.skip(4);  // type
            const quint32 start = c.read<quint32>();
            const quint32 end = c.read<quint32>();
            c.skip(8);
            if (end < start)
                continue;
            loopIDs.insert(id);
            labels.push_back(makeLabel(VMKAudioLabel::loop, start, qint64(end) - start + 1, points.value(id).name, rate));
        }
    }
    for (quint32 id : order) {
        if (loopIDs.contains(id))
            continue;
        const Point& p = points[id];
        const QString type = p.length > 0 ? VMKAudioLabel::region
                             : p.hasText && p.purpose == slicePurpose ? VMKAudioLabel::slice
                                                                       : VMKAudioLabel::marker;
        labels.push_back(makeLabel(type, p.frame, p.length, p.name, rate));
    }
    sortLabels(labels);
    return labels;
}

VMKAudioLabelList VMKAudioFileLabels::labelsOfAIFFChunks(const VMKAudioChunkFile& file, double rate) {
    VMKAudioLabelList labels;
    struct Marker {
        qint64 frame;
        QString name;
    };
    QHash<qint16, Marker> markers;
    QList<qint16> order;
    if (const auto* mark = file.chunk("MARK")) {
        const QByteArray data = file.readChunk(*mark);
        Cursor c(data, true);
        const quint16 markerCount = c.read<quint16>();
        for (quint16 i = 0; i < markerCount && c.has(7); ++i) {
            const qint16 id = c.read<qint16>();
            const quint32 position = c.read<quint32>();
            const QByteArray count = c.bytes(1);
            const int length = count.isEmpty() ? 0 : quint8(count[0]);
            const QByteArray name = c.bytes(length);
            if ((length + 1) & 1)
                c.skip(1);
            if (!markers.contains(id))
                order.append(id);
            markers.insert(id, Marker{position, textOf(name)});
        }
    }
    QSet<qint16> loopMarkers;
    if (const auto* inst = file.chunk("INST"); inst && inst->size >= 20) {
        const QByteArray data = file.readChunk(*inst, 20);
        Cursor c(data, true);
        c.skip(8);
        for (int i = 0; i < 2; ++i) {
            const qint16 mode = c.read<qint16>();
            const qint16 begin = c.read<qint16>();
            const qint16 end = c.read<qint16>();
            if (mode == 0 || !markers.contains(begin) || !markers.contains(end))
                continue;
            const qint64 from = markers[begin].frame, to = markers[end].frame;
            if (to <= from)
                continue;
            loopMarkers.insert(begin);
            loopMarkers.insert(end);
            labels.push_back(makeLabel(VMKAudioLabel::loop, from, to - from, markers[begin].name, rate));
        }
    }
    for (qint16 id : order)
        if (!loopMarkers.contains(id))
            labels.push_back(makeLabel(VMKAudioLabel::marker, markers[id].frame, 0, markers[id].name, rate));
    sortLabels(labels);
    return labels;
}

VMKAudioLabelList VMKAudioFileLabels::labelsOfCAFChunks(const VMKAudioChunkFile& file, double rate) {
    VMKAudioLabelList labels;
    QHash<quint32, QString> strings;
    if (const auto* strg = file.chunk("strg")) {
        const QByteArray data = file.readChunk(*strg);
        Cursor c(data, true);
        const quint32 count = c.read<quint32>();
        const qsizetype base = 4 + qsizetype(std::min<quint32>(count, quint32(data.size() / 12))) * 12;
        for (quint32 i = 0; i < count && c.has(12); ++i) {
            const quint32 id = c.read<quint32>();
            const qint64 offset = c.read<qint64>();
            if (offset >= 0 && base + offset < data.size())
                strings.insert(id, textOf(data.mid(base + qsizetype(offset))));
        }
    }
    auto readMarker = [](Cursor& c, quint32* type, double* frame, quint32* id) {
        *type = c.read<quint32>();
        *frame = c.readDouble();
        *id = c.read<quint32>();
        c.skip(12);  // SMPTE time, channel
    };
    if (const auto* mark = file.chunk("mark")) {
        const QByteArray data = file.readChunk(*mark);
        Cursor c(data, true);
        c.skip(4);
        const quint32 count = c.read<quint32>();
        for (quint32 i = 0; i < count && c.has(28); ++i) {
            quint32 type, id;
            double frame;
            readMarker(c, &type, &frame, &id);
            if (!std::isfinite(frame) || frame < 0)
                continue;
            labels.push_back(makeLabel(type == fourCharCode("indx") ? VMKAudioLabel::slice : VMKAudioLabel::marker,
                                       std::llround(frame), 0, strings.value(id), rate));
        }
    }
    if (const auto* regn = file.chunk("regn")) {
        const QByteArray data = file.readChunk(*regn);
        Cursor c(data, true);
        c.skip(4);
        const quint32 count = c.read<quint32>();
        for (quint32 i = 0; i < count && c.has(12); ++i) {
            const quint32 regionID = c.read<quint32>();
            const quint32 flags = c.read<quint32>();
            const quint32 markerCount = c.read<quint32>();
            double begin = -1, end = -1;
            for (quint32 m = 0; m < markerCount && c.has(28); ++m) {
                quint32 type, id;
                double frame;
                readMarker(c, &type, &frame, &id);
                if (type == fourCharCode("rbeg"))
                    begin = frame;
                else if (type == fourCharCode("rend"))
                    end = frame;
            }
            if (!(begin >= 0 && end > begin && std::isfinite(end)))
                continue;
            labels.push_back(makeLabel((flags & 1) ? VMKAudioLabel::loop : VMKAudioLabel::region, std::llround(begin),
                                       std::llround(end) - std::llround(begin), strings.value(regionID), rate));
        }
    }
    sortLabels(labels);
    return labels;
}

VMKAudioLabelList VMKAudioFileLabels::labelsOfFile(const QString& path, double rate) {
    if (rate <= 0)
        return {};
    const VMKAudioChunkFile file = VMKAudioChunkFile::chunkFileWithPath(path);
    switch (file.container()) {
    case VMKAudioChunkFile::Container::RIFF:
    case VMKAudioChunkFile::Container::RIFX: return labelsOfWaveChunks(file, rate);
    case VMKAudioChunkFile::Container::FORM: return labelsOfAIFFChunks(file, rate);
    case VMKAudioChunkFile::Container::CAF: return labelsOfCAFChunks(file, rate);
    case VMKAudioChunkFile::Container::W64:
    case VMKAudioChunkFile::Container::None: break;
    }
    return {};
}

bool VMKAudioFileLabels::writeLabels(const QString& path, const VMKAudioFileFormat& format, double rate,
                                     const VMKAudioLabelList& labels, VMKError* error) {
    if (!format.holdsLabels)
        return true;
    std::vector<std::pair<QByteArray, QByteArray>> chunks;
    if (format.kind == Kind::WAVE) {
        std::vector<std::pair<quint32, qint64>> points;
        Writer adtl(false);
        adtl.raw("adtl");
        Writer smpl(false);
        std::vector<std::pair<quint32, std::pair<qint64, qint64>>> loops;
        quint32 id = 1;
        for (const auto& label : labels) {
            const qint64 frame = framesOf(label->location(), rate);
            const qint64 length = framesOf(label->length(), rate);
            if (label->type() == VMKAudioLabel::loop) {
                if (length <= 0)
                    continue;
                loops.push_back({id, {frame, frame + length - 1}});
            } else if (label->type() == VMKAudioLabel::region || label->type() == VMKAudioLabel::slice) {
                Writer ltxt(false);
                const bool region = label->type() == VMKAudioLabel::region;
                ltxt.put<quint32>(id).put<quint32>(quint32(region ? length : 0));
                ltxt.raw(QByteArray(region ? "rgn " : "slic", 4));
                ltxt.put<quint16>(0).put<quint16>(0).put<quint16>(0).put<quint16>(0);
                appendSubchunk(adtl, "ltxt", ltxt.data());
            } else if (label->type() != VMKAudioLabel::marker) {
                continue;
            }
            points.push_back({id, frame});
            if (!label->name().isEmpty()) {
                Writer labl(false);
                labl.put<quint32>(id).raw(zeroTerminated(label->name()));
                appendSubchunk(adtl, "labl", labl.data());
            }
            ++id;
        }
        if (!points.empty())
            chunks.push_back({"cue ", waveCueChunk(points)});
        if (adtl.data().size() > 4)
            chunks.push_back({"LIST", adtl.data()});
        if (!loops.empty()) {
            smpl.put<quint32>(0).put<quint32>(0).put<quint32>(quint32(std::lround(1e9 / rate)));
            smpl.put<quint32>(60).put<quint32>(0).put<quint32>(0).put<quint32>(0);
            smpl.put<quint32>(quint32(loops.size())).put<quint32>(0);
            for (const auto& [loopID, range] : loops)
                smpl.put<quint32>(loopID).put<quint32>(0).put<quint32>(quint32(range.first))
                    .put<quint32>(quint32(range.second)).put<quint32>(0).put<quint32>(0);
            chunks.push_back({"smpl", smpl.data()});
        }
        // A LIST other than adtl (INFO tags) stays; only ours are replaced.
        const VMKAudioChunkFile file = VMKAudioChunkFile::chunkFileWithPath(path);
        std::vector<std::pair<QByteArray, QByteArray>> keep;
        for (const auto* list : file.chunksWithID("LIST")) {
            const QByteArray data = file.readChunk(*list);
            if (!data.startsWith("adtl"))
                keep.push_back({"LIST", data});
        }
        chunks.insert(chunks.begin(), keep.begin(), keep.end());
        return VMKAudioChunkFile::replaceChunks(path, {"cue ", "LIST", "smpl"}, chunks, error);
    }
    if (format.kind == Kind::AIFF) {
        Writer mark(true);
        std::vector<std::pair<qint16, std::pair<qint64, QString>>> markers;
        std::vector<std::pair<qint16, qint16>> loops;
        qint16 id = 1;
        for (const auto& label : labels) {
            if (id > 32000)
                break;  // marker ids are 16-bit
            const qint64 frame = framesOf(label->location(), rate);
            if (label->type() == VMKAudioLabel::loop) {
                const qint64 length = framesOf(label->length(), rate);
                if (length <= 0 || loops.size() >= 2)
                    continue;
                markers.push_back({id, {frame, label->name()}});
                markers.push_back({qint16(id + 1), {frame + length, QString()}});
                loops.push_back({id, qint16(id + 1)});
                id += 2;
            } else if (label->type() == VMKAudioLabel::marker || label->type() == VMKAudioLabel::slice) {
                markers.push_back({id++, {frame, label->name()}});
            }
        }
        if (!markers.empty()) {
            mark.put<quint16>(quint16(markers.size()));
            for (const auto& [markerID, value] : markers)
                mark.put<qint16>(markerID).put<quint32>(quint32(value.first)).raw(pascalString(value.second));
            chunks.push_back({"MARK", mark.data()});
        }
        if (!loops.empty()) {
            Writer inst(true);
            inst.raw(QByteArray("\x3c\x00\x00\x7f\x01\x7f", 6)).put<qint16>(0);
            for (size_t i = 0; i < 2; ++i) {
                if (i < loops.size())
                    inst.put<qint16>(1).put<qint16>(loops[i].first).put<qint16>(loops[i].second);
                else
                    inst.put<qint16>(0).put<qint16>(0).put<qint16>(0);
            }
            chunks.push_back({"INST", inst.data()});
        }
        return VMKAudioChunkFile::replaceChunks(path, {"MARK", "INST"}, chunks, error);
    }
    if (format.kind == Kind::CAF) {
        Writer strings(true);
        QByteArray stringData;
        quint32 stringCount = 0;
        auto addString = [&](quint32 id, const QString& text) {
            strings.put<quint32>(id).put<qint64>(stringData.size());
            stringData.append(zeroTerminated(text));
            ++stringCount;
        };
        auto putMarker = [](Writer& w, quint32 type, qint64 frame, quint32 id) {
            w.put<quint32>(type).putDouble(double(frame)).put<quint32>(id);
            w.put<quint32>(0).put<quint32>(0).put<quint32>(0);  // SMPTE time, channel
        };
        Writer mark(true), regn(true);
        quint32 markers = 0, regions = 0, id = 1;
        Writer markBody(true), regnBody(true);
        for (const auto& label : labels) {
            const qint64 frame = framesOf(label->location(), rate);
            if (label->type() == VMKAudioLabel::marker || label->type() == VMKAudioLabel::slice) {
                putMarker(markBody, label->type() == VMKAudioLabel::slice ? fourCharCode("indx") : 0, frame, id);
                ++markers;
            } else if (label->type() == VMKAudioLabel::region || label->type() == VMKAudioLabel::loop) {
                const qint64 length = framesOf(label->length(), rate);
                if (length <= 0)
                    continue;
                const bool loop = label->type() == VMKAudioLabel::loop;
                regnBody.put<quint32>(id).put<quint32>(loop ? 1u | 2u : 0u).put<quint32>(2);
                putMarker(regnBody, fourCharCode("rbeg"), frame, 0);
                putMarker(regnBody, fourCharCode("rend"), frame + length, 0);
                ++regions;
            } else {
                continue;
            }
            if (!label->name().isEmpty())
                addString(id, label->name());
            ++id;
        }
        if (stringCount > 0) {
            Writer strg(true);
            strg.put<quint32>(stringCount).raw(strings.data()).raw(stringData);
            chunks.push_back({"strg", strg.data()});
        }
        if (markers > 0) {
            mark.put<quint32>(0).put<quint32>(markers).raw(markBody.data());
            chunks.push_back({"mark", mark.data()});
        }
        if (regions > 0) {
            regn.put<quint32>(0).put<quint32>(regions).raw(regnBody.data());
            chunks.push_back({"regn", regn.data()});
        }
        return VMKAudioChunkFile::replaceChunks(path, {"strg", "mark", "regn"}, chunks, error);
    }
    return true;
}

} // namespace ondrel
