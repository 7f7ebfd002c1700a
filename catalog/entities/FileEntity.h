#pragma once

#include "catalog/entities/Entity.h"
#include "core/values/DoubleRange.h"

#include <QtCore/QDateTime>
#include <QtCore/QVariantMap>

#include <limits>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

class ChannelDetails;
class Label;
class Operation;
class Predicate;
class VMKAudioBufferList;
class VMKWaveformBuffer;
class VMKAudioFileInfo;
class VMKAudioFileReader;
class VMKDatabaseController;

// One cataloged audio file, or one split file: several single-channel files
// (Take.L.wav, Take.R.wav) that act as one multi-channel file. It holds the
// format facts read from disk, the analysis results, labels and metadata, the
// bookmarks that follow the files when they move, and open readers while it
// is loaded (selected, shown, played).
//
// Every row of FileEntity, FileBookmark, FileProperty, FileLabel and
// FileAnalysis is written by this class, when the change happens. Letting go
// of the last reference of an entity that has an ID is what removes its rows
// (three seconds later, with others, in one transaction).
//
// Stored values are read and written under the entity's own lock, so that a
// background job may read them while the main thread updates them.
class FileEntity : public Entity {
    ONDREL_OBJECT(FileEntity, Entity)

public:
    // The in-memory true peak of a file whose true peak was not measured
    // (NULL in its row).
    static constexpr float TruePeakNotMeasured = std::numeric_limits<float>::max();

    FileEntity();
    ~FileEntity() override;

    // A new entity for one audio file, written to the catalog (without a
    // container: the group that takes it in writes that). Null with the
    // reason for a file that is not audio, or that can't be bookmarked.
    static std::shared_ptr<FileEntity> initWithURL(const URL& url, VMKError* error = nullptr);
    // A new split file of single-channel WAVE or AIFF files, in channel order.
    // Null with FileEntityError 1 to 6 when the files don't make one; null
    // without an error when a file is missing.
    static std::shared_ptr<FileEntity> initWithURLs(const std::vector<URL>& urls, VMKError* error = nullptr);
    // The entity of a catalog row, at start-up. Null when its files can't be
    // found or a changed file can't be read again; its rows then go.
    static std::shared_ptr<FileEntity> initWithID(const QString& ID, VMKError* error = nullptr);

    // Reads the files again after a change on disk and writes the new facts.
    // False when a file is missing (no error), unreadable (its error) or the
    // members of a split file no longer match (no error); the entity then
    // keeps its old facts. Starts a new analysis on success.
    bool update(VMKError* error = nullptr);

    // Resolves bookmarks into the URLs and the name; a stale bookmark is made
    // anew and written. False (nothing stored) when one can't be resolved.
    bool setBookmarks(const QList<QByteArray>& bookmarks, VMKError* error = nullptr);

    // Counted opening of the readers and the waveform overviews: the first
    // load opens them, the last unload closes them. Main thread.
    void load();
    void unload();
    bool isLoaded() const;
    quint64 loadCount() const;
    std::vector<std::shared_ptr<VMKAudioFileReader>> audioFiles() const;

    // MARK: File tracking (main thread)
    // The file moved or was renamed: the entity keeps one bookmark of the
    // new place (also in its row) and the new name. An analysis running is
    // cancelled and started again.
    void presentedItemDidMoveToURL(const URL& url) override;
    // The file is gone: a running analysis is cancelled, the entity leaves
    // its group, then the handler is called with no error.
    void accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) override;
    // The file changed: it is read again (update). When that fails the
    // entity keeps its old facts and the failure is logged.
    void presentedItemDidChange() override;

    // MARK: Analysis
    // The analysis measuring this entity now, if any (held weakly).
    std::shared_ptr<Operation> analysisOperation() const;
    // The analysis job attaches its operation here. The entity observes its
    // "isCompleted" (on the operation's thread: the results are written in
    // one transaction and set, unless the operation was cancelled) and its
    // "isFinished" (the operation is let go). Null detaches.
    void setAnalysisOperation(const std::shared_ptr<Operation>& operation);

    // MARK: Audio access and detectors (locations in seconds)
    // Reads from round(sampleRate x location) into the buffer, the channels of
    // a split file side by side. False when not loaded (no reader).
    bool getAudio(VMKAudioBufferList& bufferList, double location, VMKError* error = nullptr);
    // Draws the range into the waveform buffer's columns: from the overview
    // for wide columns, from the audio for narrow ones. Needs load().
    void getWaveform(VMKWaveformBuffer& buffer, DoubleRange range);
    // Beats a minute from the metadata's "beats", folded into 60 .. 240.
    float estimatedTempo() const;
    // These bracket themselves with load() and unload(): any thread.
    double locationOfZeroCrossingBefore(double location);
    double locationOfZeroCrossingAfter(double location);
    double locationOfNearestZeroCrossingTo(double location);
    double locationOfThresholdCrossingBefore(double location, float threshold);
    double locationOfThresholdCrossingAfter(double location, float threshold);
    // "magnitude", "energy" or "energyBands"; any other method gives 0.
    double locationOfNextDetectedBeatUsing(const QString& method, float sensitivity, double location);
    // These three need load(); they are reached through the one above.
    double locationOfNextDetectedBeatUsingMagnitudeWithSensitivity(float sensitivity, double location);
    double locationOfNextDetectedBeatUsingEnergyWithSensitivity(float sensitivity, double location);
    double locationOfNextDetectedBeatUsingEnergyBandsWithSensitivity(float sensitivity, double location);
    // The next sound between silences; location NotFoundLocation and length
    // 0 when there is none.
    DoubleRange rangeOfNextDetectedBeatUsingThresholdsWithAttackThreshold(float attackThreshold, float releaseThreshold,
                                                                         double releaseLength, double location);
    static constexpr double NotFoundLocation = 9223372036854775808.0;

    // MARK: Stored values
    QDateTime dateAdded() const;
    QDateTime dateModified() const;
    QString format() const;
    QString encoding() const;
    QString channelSuffixDelimiter() const;  // empty for a plain file
    quint64 fileSize() const;
    quint64 frames() const;
    quint64 channels() const;
    quint64 bitDepth() const;
    bool isFloatingPoint() const;
    quint64 bitrate() const;
    double sampleRate() const;
    // frames / sampleRate; 0 for a sample rate of 0.
    double length() const;

    // Analysis results (set by analysis, by key).
    quint64 countOfMarkers() const { return get(m_countOfMarkers); }
    void setCountOfMarkers(quint64 value) { set(QStringLiteral("countOfMarkers"), m_countOfMarkers, value); }
    quint64 countOfSlices() const { return get(m_countOfSlices); }
    void setCountOfSlices(quint64 value) { set(QStringLiteral("countOfSlices"), m_countOfSlices, value); }
    quint64 countOfRegions() const { return get(m_countOfRegions); }
    void setCountOfRegions(quint64 value) { set(QStringLiteral("countOfRegions"), m_countOfRegions, value); }
    quint64 countOfLoops() const { return get(m_countOfLoops); }
    void setCountOfLoops(quint64 value) { set(QStringLiteral("countOfLoops"), m_countOfLoops, value); }
    float difference() const { return get(m_difference); }
    void setDifference(float value) { set(QStringLiteral("difference"), m_difference, value); }
    quint64 detectedSemitone() const { return get(m_detectedSemitone); }
    void setDetectedSemitone(quint64 value) { set(QStringLiteral("detectedSemitone"), m_detectedSemitone, value); }
    float programLoudness() const { return get(m_programLoudness); }
    void setProgramLoudness(float value) { set(QStringLiteral("programLoudness"), m_programLoudness, value); }
    float midPeak() const { return get(m_midPeak); }
    void setMidPeak(float value) { set(QStringLiteral("midPeak"), m_midPeak, value); }
    float sidePeak() const { return get(m_sidePeak); }
    void setSidePeak(float value) { set(QStringLiteral("sidePeak"), m_sidePeak, value); }
    float loudnessRange() const { return get(m_loudnessRange); }
    void setLoudnessRange(float value) { set(QStringLiteral("loudnessRange"), m_loudnessRange, value); }
    // TruePeakNotMeasured when not measured.
    float truePeak() const { return get(m_truePeak); }
    void setTruePeak(float value) { set(QStringLiteral("truePeak"), m_truePeak, value); }
    float peak() const { return get(m_peak); }
    void setPeak(float value) { set(QStringLiteral("peak"), m_peak, value); }
    float positiveMaximum() const { return get(m_positiveMaximum); }
    void setPositiveMaximum(float value) { set(QStringLiteral("positiveMaximum"), m_positiveMaximum, value); }
    float negativeMaximum() const { return get(m_negativeMaximum); }
    void setNegativeMaximum(float value) { set(QStringLiteral("negativeMaximum"), m_negativeMaximum, value); }
    float peakToPeak() const { return get(m_peakToPeak); }
    void setPeakToPeak(float value) { set(QStringLiteral("peakToPeak"), m_peakToPeak, value); }
    float RMS() const { return get(m_RMS); }
    void setRMS(float value) { set(QStringLiteral("RMS"), m_RMS, value); }
    float average() const { return get(m_average); }
    void setAverage(float value) { set(QStringLiteral("average"), m_average, value); }
    float DCOffset() const { return get(m_DCOffset); }
    void setDCOffset(float value) { set(QStringLiteral("DCOffset"), m_DCOffset, value); }
    float formFactor() const { return get(m_formFactor); }
    void setFormFactor(float value) { set(QStringLiteral("formFactor"), m_formFactor, value); }
    float crestFactor() const { return get(m_crestFactor); }
    void setCrestFactor(float value) { set(QStringLiteral("crestFactor"), m_crestFactor, value); }
    quint64 countOfClipEvents() const { return get(m_countOfClipEvents); }
    void setCountOfClipEvents(quint64 value) { set(QStringLiteral("countOfClipEvents"), m_countOfClipEvents, value); }
    // The file's tags by the engine's metadata keys; every key also reads as
    // a key of the entity.
    QVariantMap metadata() const { return get(m_metadata); }
    void setMetadata(const QVariantMap& value) { set(QStringLiteral("metadata"), m_metadata, value); }

    // MARK: Channels and labels
    std::vector<std::shared_ptr<ChannelDetails>> channelDetails() const;
    qsizetype countOfChannelDetails() const;
    std::shared_ptr<ChannelDetails> objectInChannelDetailsAtIndex(qsizetype index) const;
    qsizetype indexOfObjectInChannelDetails(const ChannelDetails* details) const;
    // Sets the details' file entity before they go in.
    void insertObjectInChannelDetailsAtIndex(const std::shared_ptr<ChannelDetails>& details, qsizetype index);
    // Clears the details' file entity as they leave.
    void removeChannelDetailsAtIndexes(const IndexSet& indexes);

    // Read from the catalog at the first use, ordered by type and location.
    std::vector<std::shared_ptr<Label>> labels() const;
    qsizetype countOfLabels() const;
    std::shared_ptr<Label> objectInLabelsAtIndex(qsizetype index) const;
    qsizetype indexOfObjectInLabels(const Label* label) const;
    std::vector<std::shared_ptr<Label>> labelsWithPredicate(const Predicate& predicate) const;
    // Forgets the labels read, so that the next use reads them again.
    void dropCachedLabels();

    // MARK: Display state (not stored)
    DoubleRange displayRange() const { return get(m_displayRange); }
    // Ignores an empty range; keeps the range within 0 .. length.
    void setDisplayRange(DoubleRange range);
    DoubleRange selectionRange() const { return get(m_selectionRange); }
    // Stores the part of the range within 0 .. length.
    void setSelectionRange(DoubleRange range);
    float displayScalar() const { return get(m_displayScalar); }
    void setDisplayScalar(float scalar);  // at least 0
    float displayZeroOffset() const { return get(m_displayZeroOffset); }
    void setDisplayZeroOffset(float offset);  // -1 .. 1

    // Metadata keys read as keys of the entity.
    QVariant valueForUndefinedKey(const QString& key) const override;

    // The localized name of an encoding code ("Linear PCM"); empty for 0.
    static QString encodingName(quint32 code);

private:
    template <class T>
    T get(const T& field) const {
        std::lock_guard lock(m_valuesMutex);
        return field;
    }
    template <class T, class U>
    void set(const QString& key, T& field, U&& value) {
        willChangeValueForKey(key);
        {
            std::lock_guard lock(m_valuesMutex);
            field = std::forward<U>(value);
        }
        didChangeValueForKey(key);
    }

    // Format facts of a file info, announced key by key.
    void setFacts(const VMKAudioFileInfo& info, quint64 fileSize, quint64 channels, const QString& delimiter);
    void readStoredRow();
    bool readBookmarkRows(VMKError* error);
    void readPropertyRows();
    void readAnalysisRows();
    void insertRows(bool split);
    void openReaders();
    // Asks analysis to measure this entity again.
    void queueAnalysis();
    // Rewrites the bookmark rows, one a file, ordinal being the channel.
    static void writeBookmarkRows(VMKDatabaseController& database, const QString& ID, const QList<QByteArray>& bookmarks);

    mutable std::mutex m_valuesMutex;  // guards the stored and display values
    QDateTime m_dateAdded;
    QDateTime m_dateModified;
    QString m_format;
    QString m_encoding;
    QString m_channelSuffixDelimiter;
    quint64 m_fileSize = 0;
    quint64 m_frames = 0;
    quint64 m_channels = 0;
    quint64 m_bitDepth = 0;
    bool m_floatingPoint = false;
    quint64 m_bitrate = 0;
    double m_sampleRate = 0.0;
    quint64 m_countOfMarkers = 0;
    quint64 m_countOfSlices = 0;
    quint64 m_countOfRegions = 0;
    quint64 m_countOfLoops = 0;
    float m_difference = 0.0f;
    quint64 m_detectedSemitone = 0;
    float m_programLoudness = 0.0f;
    float m_midPeak = 0.0f;
    float m_sidePeak = 0.0f;
    float m_loudnessRange = 0.0f;
    float m_truePeak = TruePeakNotMeasured;
    float m_peak = 0.0f;
    float m_positiveMaximum = 0.0f;
    float m_negativeMaximum = 0.0f;
    float m_peakToPeak = 0.0f;
    float m_RMS = 0.0f;
    float m_average = 0.0f;
    float m_DCOffset = 0.0f;
    float m_formFactor = 0.0f;
    float m_crestFactor = 0.0f;
    quint64 m_countOfClipEvents = 0;
    QVariantMap m_metadata;
    DoubleRange m_displayRange;
    DoubleRange m_selectionRange;
    float m_displayScalar = 1.0f;
    float m_displayZeroOffset = 0.0f;
    std::vector<std::shared_ptr<ChannelDetails>> m_channelDetails;
    mutable bool m_hasLabels = false;
    mutable std::vector<std::shared_ptr<Label>> m_labels;

    // Open while loaded. Reading samples through them takes m_getAudioLock.
    quint64 m_loadCount = 0;  // main thread
    std::vector<std::shared_ptr<VMKAudioFileReader>> m_audioFiles;
    std::shared_ptr<VMKAudioBufferList> m_readBuffer;
    mutable std::mutex m_getAudioLock;

    // The analysis measuring this entity, held weakly, and the observations
    // of its "isCompleted" and "isFinished".
    void storeAnalysis(const Operation& operation);
    void detachAnalysisOperation(const Operation* operation);
    mutable std::mutex m_analysisMutex;
    std::weak_ptr<Operation> m_analysisOperation;
    std::vector<ObservationHandle> m_analysisObservations;
};

using FileEntityPtr = std::shared_ptr<FileEntity>;

} // namespace ondrel
