#pragma once

#include "app/pictures/PictureService.h"

namespace vantorel {

class AppModel;

/// The pictures of the library that the model has scanned. It reads gently while the model works on a disk,
/// and not at all while that work waits for one. Owned by `parent`.
PictureService* makeLibraryPictures(AppModel& app, QObject* parent);

} // namespace vantorel
