#pragma once

#include "process/workflow/Action.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

namespace ondrel {

// Where the results of a run go and how they are named. Every workflow holds
// one apart from its list of actions; one inside the list writes the state of
// the audio at that point through a run of its own.
class SaveAction : public Action {
    ONDREL_OBJECT(SaveAction, Action)
public:
    // The destination starts as a bookmark of the default output folder.
    SaveAction();

    // destinationBookmark, filenameComponents, replaceOriginal, addResults,
    // preserveHierarchy.
    QStringList parameterKeys() const override;
    // Every field copied as it is: the bookmark isn't resolved again and no
    // default folder is made, so a run's copy costs no disk access.
    std::shared_ptr<Action> copy() const override;

    // Folder for results; empty data puts each result next to its source.
    QByteArray destinationBookmark() const { return m_destinationBookmark; }
    // Empty data is kept as it is. Other data is resolved: data that doesn't
    // resolve is replaced by a bookmark of the default output folder, stale
    // data by a fresh bookmark of the folder it resolved to.
    void setDestinationBookmark(const QByteArray& destinationBookmark);
    // Component strings of the output name, in order; empty keeps the
    // source's name.
    QStringList filenameComponents() const { return m_filenameComponents; }
    void setFilenameComponents(const QStringList& filenameComponents);
    bool replaceOriginal() const { return m_replaceOriginal; }
    void setReplaceOriginal(bool replaceOriginal);
    // Adds the results to the catalog after the run.
    bool addResults() const { return m_addResults; }
    void setAddResults(bool addResults);
    // Rebuilds the sources' relative folders below the destination.
    bool preserveHierarchy() const { return m_preserveHierarchy; }
    void setPreserveHierarchy(bool preserveHierarchy);

    // A bookmark of the default output folder, which is made when missing;
    // empty when the folder can't be made.
    static QByteArray defaultDestinationBookmark();

private:
    struct WithoutDestination {};
    // A save action whose destination is yet to be set: no default folder is made.
    explicit SaveAction(WithoutDestination) {}

    QByteArray m_destinationBookmark;
    QStringList m_filenameComponents;
    bool m_replaceOriginal = false;
    bool m_addResults = false;
    bool m_preserveHierarchy = false;
};

} // namespace ondrel
