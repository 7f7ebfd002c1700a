#include "core/files/FilePresenter.h"

namespace ondrel {

FilePresenter::~FilePresenter() = default;

} // namespace ondrel
