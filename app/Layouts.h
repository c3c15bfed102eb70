#pragma once

class QLayout;

namespace vantorel {

/// Takes everything out of a layout; its widgets are deleted once the event that led here is over.
void clearLayout(QLayout& layout);

} // namespace vantorel
