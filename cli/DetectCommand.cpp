#include "cli/DetectCommand.h"

#include "catalog/entities/FileEntity.h"
#include "cli/CatalogCommand.h"
#include "cli/Output.h"

#include <QtCore/QVariantList>

#include <cmath>

namespace ondrel {

namespace {

struct DetectOptions {
    QString kind;
    QString name;
    double from = 0.0;
    double to = std::nan("");  // the file's length
    double thresholdDB = -40.0;
    double sensitivity = 0.5;
    QString method = QStringLiteral("energy");
};

bool readNumber(const QString& option, const QString& text, double* value) {
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok || !std::isfinite(number)) {
        Output::usage(QStringLiteral("%1 needs a number, not '%2'").arg(option, Output::oneLine(text)));
        return false;
    }
    *value = number;
    return true;
}

bool readOptions(const QStringList& arguments, DetectOptions* options) {
    static const QStringList kinds{QStringLiteral("tempo"), QStringLiteral("zero-crossings"), QStringLiteral("thresholds"),
                                   QStringLiteral("beats")};
    static const QStringList methods{QStringLiteral("magnitude"), QStringLiteral("energy"), QStringLiteral("energyBands")};
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument.startsWith(QLatin1String("--"))) {
            QString option = argument;
            QString value;
            if (const qsizetype equals = argument.indexOf(QLatin1Char('=')); equals > 0) {
                option = argument.left(equals);
                value = argument.mid(equals + 1);
            } else if (i + 1 < arguments.size()) {
                value = arguments[++i];
            } else {
                Output::usage(QStringLiteral("%1 needs a value").arg(option));
                return false;
            }
            bool ok = true;
            if (option == QLatin1String("--from"))
                ok = readNumber(option, value, &options->from);
            else if (option == QLatin1String("--to"))
                ok = readNumber(option, value, &options->to);
            else if (option == QLatin1String("--threshold"))
                ok = readNumber(option, value, &options->thresholdDB);
            else if (option == QLatin1String("--sensitivity"))
                ok = readNumber(option, value, &options->sensitivity);
            else if (option == QLatin1String("--method"))
                options->method = value;
            else
                ok = Output::usage(QStringLiteral("detect takes --from, --to, --threshold, --sensitivity and --method, not '%1'")
                                       .arg(option)) == Output::Done;
            if (!ok)
                return false;
        } else if (options->kind.isNull()) {
            options->kind = argument;
        } else if (options->name.isNull()) {
            options->name = argument;
        } else {
            Output::usage(QStringLiteral("detect takes one file, not also '%1'").arg(Output::oneLine(argument)));
            return false;
        }
    }
    if (!kinds.contains(options->kind)) {
        Output::usage(QStringLiteral("detect needs what to find: tempo, zero-crossings, thresholds or beats"));
        return false;
    }
    if (options->name.isNull()) {
        Output::usage(QStringLiteral("detect needs the ID or path of a file"));
        return false;
    }
    if (!methods.contains(options->method)) {
        Output::usage(QStringLiteral("--method is magnitude, energy or energyBands, not '%1'").arg(options->method));
        return false;
    }
    if (options->sensitivity < 0.0 || options->sensitivity > 1.0) {
        Output::usage(QStringLiteral("--sensitivity is from 0 to 1"));
        return false;
    }
    if (options->from < 0.0 || options->to < options->from) {
        Output::usage(QStringLiteral("--from must be at least 0 and not after --to"));
        return false;
    }
    return true;
}

// Every answer of a detector that finds the next event after a location,
// from `from` up to (not including) `end`. The next search starts `gap`
// after an answer; a detector that answers the location it was given moves
// on by `step`, so the scan always ends. An answer within half a frame of the
// end is the end: past the last frame the file reads as silence, and the
// step into it is no event of the file.
template <class Next>
QVariantList scan(double from, double end, double frame, double gap, double step, Next next) {
    QVariantList found;
    for (double location = from; location < end;) {
        const double event = next(location);
        if (!(event < end - 0.5 * frame))
            break;
        found << event;
        location = event > location ? event + gap : location + step;
    }
    return found;
}

} // namespace

int DetectCommand::run(const QStringList& arguments) {
    DetectOptions options;
    if (!readOptions(arguments, &options))
        return Output::WrongUsage;
    std::vector<EntityPtr> found;
    if (!CatalogCommand::entitiesNamed({options.name}, found))
        return Output::WrongUsage;
    const auto file = std::dynamic_pointer_cast<FileEntity>(found.front());
    if (!file)
        return Output::usage(QStringLiteral("'%1' is a group: detect looks at one file").arg(Output::oneLine(options.name)));
    const double length = file->length();
    const double end = std::isnan(options.to) ? length : std::min(options.to, length);
    const double frame = file->sampleRate() > 0.0 ? 1.0 / file->sampleRate() : 1.0;

    // Loaded for the whole scan: each detector's own load is then counted,
    // not an opening of the files for every answer.
    file->load();
    QVariantList answers;
    if (options.kind == QLatin1String("tempo")) {
        answers << double(file->estimatedTempo());
    } else if (options.kind == QLatin1String("zero-crossings")) {
        // Started on a whole frame, each answer is its crossing's own frame,
        // and a search from there finds the next one, even on the frame after.
        const double start = std::round(options.from / frame) * frame;
        answers = scan(start, end, frame, 0.0, frame, [&](double at) { return file->locationOfZeroCrossingAfter(at); });
    } else if (options.kind == QLatin1String("thresholds")) {
        const float threshold = float(std::pow(10.0, options.thresholdDB / 20.0));
        const double first = file->locationOfThresholdCrossingAfter(options.from, threshold);
        if (first < end) {
            answers << first;
            const double last = file->locationOfThresholdCrossingBefore(end, threshold);
            if (last > first)
                answers << last;
        }
    } else {
        const float sensitivity = float(options.sensitivity);
        answers = scan(options.from, end, frame, 512.0 * frame, 512.0 * frame, [&](double at) {
            return file->locationOfNextDetectedBeatUsing(options.method, sensitivity, at);
        });
    }

    file->unload();

    if (Output::isJson()) {
        Output::printJson(answers);
    } else {
        const int decimals = options.kind == QLatin1String("tempo") ? 2 : 6;
        for (const QVariant& answer : answers)
            Output::line(QString::number(answer.toDouble(), 'f', decimals));
    }
    return Output::Done;
}

} // namespace ondrel
