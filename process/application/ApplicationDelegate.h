#pragma once

#include "core/objects/Object.h"

#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace ondrel {

class CompoundPredicate;

// The program's way in, without its windows: what start-up does in order,
// files opened from outside, and quitting while work is running.
//
// Making the delegate (the desktop program and the command line make one
// each) ties the audio outputs, makes sure the default output folder exists
// and registers the delegate's defaults. applicationWillFinishLaunching then
// observes the two process controllers, which is what brings them up.
//
// What lies in later libraries is reached through the interfaces installed
// in ProcessInterfaces: the device's output routing, the process
// controllers, the workflow library, the file process controller, the
// question asked when quitting during work, and the application object that
// hears the delayed answer.
//
// Nothing here posts ApplicationWillTerminateNotification: the application
// object does, the desktop program when its event loop ends and the command
// line before it exits, after applicationWillTerminate.
class ApplicationDelegate : public Object {
    ONDREL_OBJECT(ApplicationDelegate, Object)
public:
    // The answers of applicationShouldTerminate.
    enum TerminateReply : int { TerminateCancel = 0, TerminateNow = 1, TerminateLater = 2 };

    // Routing ties at most this many channels.
    static constexpr int MaximumRoutedChannels = 48;

    // The files area's filter until the user makes one: sample rate 48000,
    // as an "and" of that one comparison so that more can join it.
    static std::shared_ptr<CompoundPredicate> defaultEntitiesPredicate();
    // The sender address of support requests: $EMAIL, else empty.
    static QString defaultSupportEmail();

    // Start-up, before launching has finished: routing, the output folder,
    // the delegate's defaults.
    ApplicationDelegate();
    ~ApplicationDelegate() override;

    // Observes "processing" of the audio, then of the file process
    // controller (which makes both), and "operationCount" of both.
    void applicationWillFinishLaunching();

    // Workflow files (extension "ondrelworkflow") join the workflow library;
    // all other paths are added to the catalog by one add-files command. With
    // only workflow files no file process starts.
    void openFiles(const QStringList& paths);

    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

    // Writes the current workflow, then: nothing running, terminate now;
    // otherwise asks. First button cancels, second terminates now, third
    // terminates now if the work has ended meanwhile, else later (the reply
    // follows when the work ends); any other answer terminates now.
    TerminateReply applicationShouldTerminate();
    // The delegate's own windows go here; controllers write their state on
    // ApplicationWillTerminateNotification, not here.
    void applicationWillTerminate();

    // True while the audio, or else the file, process controller is processing.
    bool hasRunningProcesses() const;

private:
    void routeAudioOutputs();
    void registerDefaults();
    void workDidChange();

    ObjectPtr m_audioProcessController;
    ObjectPtr m_fileProcessController;
    bool m_launched = false;
    // Of "processing" and "operationCount" of both controllers.
    std::vector<ObservationHandle> m_observations;
};

} // namespace ondrel
