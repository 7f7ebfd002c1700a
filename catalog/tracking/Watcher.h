#pragma once

#include "core/files/URL.h"

#include <QtCore/QString>

namespace ondrel {

// A watched folder of the catalog, shared by every entity in or below it and
// counted: the catalog keeps few watchers, and one on a folder swallows those
// on its subfolders.
class Watcher {
public:
    explicit Watcher(const URL& url) : m_URL(url), m_path(url.path()) {}

    const URL& url() const { return m_URL; }
    void setURL(const URL& url) { m_URL = url; }
    // The path at creation; it stays when the folder moves.
    const QString& path() const { return m_path; }
    quint64 counter() const { return m_counter; }
    void setCounter(quint64 counter) { m_counter = counter; }

    // True when the URL's path is longer than this watcher's and begins with
    // it (a plain text prefix: "/a/bc" counts as inside "/a/b").
    bool containsURL(const URL& url) const { return url.path().size() > m_path.size() && url.path().startsWith(m_path); }
    // True when this watcher's path is longer than the URL's and begins with it.
    bool isContainedByURL(const URL& url) const {
        return m_path.size() > url.path().size() && m_path.startsWith(url.path());
    }

private:
    URL m_URL;
    QString m_path;
    quint64 m_counter = 0;
};

} // namespace ondrel
