#pragma once

#include "core/dispatch/Operation.h"
#include "core/files/URL.h"
#include "core/text/VMKError.h"
#include "render/operation/AudioProcessSource.h"

#include <QtCore/QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace ondrel {

class AudioProcess;
class AudioProcessAudioFileWriterAudioProcessor;
class AudioProcessCommandEffectInstructions;
class AudioProcessCommandInstructions;
class VMKAudioProcessor;
class VMKFaderAudioProcessor;
struct VMKTimeRange;

// Renders one output file. start() builds a new graph from the sources and
// the output instructions (per source: files, router, file mixer, converter
// when the rates differ, conductor, the source's effects, source fader; then
// the mix, the output effects, the output fader and the writer), runs it to
// the end on the calling thread (a thread of the group's queue) and throws
// it away. A failed render logs one error naming its first source and ends
// like a good one; nothing is retried and no exception leaves start().
//
// Cancelling before start() means the render never starts; cancelling while
// it runs makes the writer stop at its next block and remove its temporary
// file. The sources are never written.
class AudioProcessOperation : public Operation {
    ONDREL_OBJECT(AudioProcessOperation, Operation)

public:
    AudioProcessOperation();
    ~AudioProcessOperation() override;

    bool isAsynchronous() const override { return true; }
    void start() override;

    // MARK: What to render (set before the operation is queued)

    std::shared_ptr<AudioProcess> audioProcess() const { return m_audioProcess.lock(); }
    void setAudioProcess(const std::shared_ptr<AudioProcess>& process) { m_audioProcess = process; }
    // At least one, in the order of the command.
    const std::vector<AudioProcessSource>& sources() const { return m_sources; }
    void setSources(std::vector<AudioProcessSource> sources) { m_sources = std::move(sources); }
    // The output side; never null once set.
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions() const { return m_instructions; }
    void setInstructions(const std::shared_ptr<AudioProcessCommandInstructions>& instructions) {
        m_instructions = instructions;
    }
    bool isReplaceOriginal() const { return m_replaceOriginal; }
    void setReplaceOriginal(bool replaceOriginal) { m_replaceOriginal = replaceOriginal; }
    bool isRehearse() const { return m_rehearse; }
    void setRehearse(bool rehearse) { m_rehearse = rehearse; }
    // The output folder; empty: the folder of the first source.
    const URL& destination() const { return m_destination; }
    void setDestination(const URL& destination) { m_destination = destination; }
    // The output stem; absent or empty: the first source's.
    const std::optional<QString>& filename() const { return m_filename; }
    void setFilename(const std::optional<QString>& filename) { m_filename = filename; }

    // MARK: While and after rendering (any thread)

    // Set when the render failed. Key "hasError".
    bool hasError() const { return m_hasError.load(std::memory_order_acquire); }
    // The writer while the render runs, else null.
    std::shared_ptr<AudioProcessAudioFileWriterAudioProcessor> writer() const;
    // The writer's progress, 0 to 1; 0 without a writer. Key "progress".
    double progress() const;
    // Once finished: where the result went (in a rehearsal, where it would
    // have gone; under replaceOriginal, the location it will take at the
    // swap); empty when the render failed or never started.
    URL resultURL() const;
    // Once finished with an error: the error.
    VMKError error() const;

    // Builds and runs the graph on the calling thread. False with `error`
    // set on the first failure; the graph is dropped unfinished.
    bool process(VMKError* error);

    // MARK: Helpers of the graph

    // New processors for effect records, in order: a record with a class
    // name is made by the class registry, one without by its component
    // codes. Null (with `error`) when one can't be made.
    static std::optional<std::vector<std::shared_ptr<VMKAudioProcessor>>>
    effectsForEffectInstructions(const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& records,
                                 VMKError* error);
    // Gain (decibels) and fades of `fader` over `range` (seconds): a fade-in
    // automation from the range's start and a fade-out ending at its end,
    // each only when its length is above 0, shaped by its curve name.
    static void configureFader(VMKFaderAudioProcessor& fader, double fadeInLength, const QString& fadeInCurve,
                               double fadeOutLength, const QString& fadeOutCurve, float gain,
                               const VMKTimeRange& range);
    // The four-character code of an encoding name ("PCM" is 'lpcm'); 0 for
    // a name the table doesn't hold.
    static quint32 encodingCodeFromEncoding(const QString& encoding);

private:
    std::weak_ptr<AudioProcess> m_audioProcess;
    std::vector<AudioProcessSource> m_sources;
    std::shared_ptr<AudioProcessCommandInstructions> m_instructions;
    bool m_replaceOriginal = false;
    bool m_rehearse = false;
    URL m_destination;
    std::optional<QString> m_filename;
    std::atomic<bool> m_hasError{false};

    mutable std::mutex m_mutex;  // guards what follows
    std::shared_ptr<AudioProcessAudioFileWriterAudioProcessor> m_writer;
    URL m_resultURL;
    VMKError m_error;
};

} // namespace ondrel
