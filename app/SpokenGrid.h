#pragma once

namespace vantorel {

/// Assistive technology meets every picture grid that is made from now on as a list, each item by its name,
/// date and status. Qt would show it the model's table, whose other columns nobody sees in a grid.
void speakGridsAsLists();

} // namespace vantorel
