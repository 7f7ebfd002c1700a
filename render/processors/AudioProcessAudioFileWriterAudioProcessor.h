#pragma once

#include "core/files/URL.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"

#include <vector>

namespace ondrel {

class AudioProcessOperation;

// The writer of a render. Over the engine's writer it decides where the
// finished file goes:
//  - the result is named from the base folder and stem, else from the first
//    source's folder and stem; the extension "aif" stays "aiff" when the
//    first source has "aiff";
//  - without replaceOriginal a taken name gets the next free number ("name
//    1", and "name 1_L" when the name ends in a channel suffix), logged; a
//    name another render has chosen and not yet filled counts as taken;
//  - the temporary file lies in the result's folder (hidden), so that
//    putting it in place is one rename;
//  - in a rehearsal the file is written and then deleted, and nothing
//    appears; under replaceOriginal the finished file waits in its folder
//    and the operation's group swaps it in when all its renders have ended.
// It stops at the next block once its operation is cancelled.
class AudioProcessAudioFileWriterAudioProcessor : public VMKAudioFileWriterAudioProcessor {
    ONDREL_OBJECT(AudioProcessAudioFileWriterAudioProcessor, VMKAudioFileWriterAudioProcessor)

public:
    AudioProcessAudioFileWriterAudioProcessor();
    ~AudioProcessAudioFileWriterAudioProcessor() override;

    // The files of the first source, in channel order.
    const std::vector<URL>& sourceURLs() const { return m_sourceURLs; }
    void setSourceURLs(const std::vector<URL>& urls) { m_sourceURLs = urls; }
    bool isReplaceOriginal() const { return m_replaceOriginal; }
    void setReplaceOriginal(bool replaceOriginal) { m_replaceOriginal = replaceOriginal; }
    bool isRehearse() const { return m_rehearse; }
    void setRehearse(bool rehearse) { m_rehearse = rehearse; }

    // The render operation this writer belongs to (see setOperation), or null.
    std::shared_ptr<AudioProcessOperation> audioProcessOperation() const;

    URL createResultURLWithExtension(const QString& extension) override;
    bool replaceResultWithFileAtTemporaryURL(const URL& temporaryURL, VMKError* error) override;
    bool isCancelled() const override;

protected:
    URL temporaryURLWithExtension(const QString& extension, VMKError* error) override;

private:
    // The folder the result goes to: the base folder, else the first source's.
    URL resultDirectory() const;
    // Gives back the result name this writer holds for itself, if any.
    void releaseClaim();

    std::vector<URL> m_sourceURLs;
    bool m_replaceOriginal = false;
    bool m_rehearse = false;
    URL m_claimedURL;  // the result named and not yet moved in
};

} // namespace ondrel
