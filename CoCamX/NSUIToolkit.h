#pragma once
// Link anchors of the interface toolkit's widget families. Whoever loads a window that
// instantiates these classes by name checks the anchors first, so the classes are linked.

bool import_NSUIToolButton();
bool import_NSUIColorContentView();
bool import_NSUINfoGraffik();
