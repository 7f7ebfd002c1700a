#pragma once

namespace ondrel {

// Makes the classes of the analysis library findable by name (the analyzer
// for the stream description, the analysis file process and its command)
// after those of the catalog, and registers the analysis defaults. Safe to
// call again.
void registerAnalysisClasses();

} // namespace ondrel
