// The "About" box: version, license and the libraries that the program uses. Windows' thread.
#pragma once

class QDialog;
class QWidget;

namespace moxtel {

// A new dialog, which is not shown yet. The caller owns it, or its parent.
QDialog* makeAboutDialog(QWidget* parent = nullptr);

}  // namespace moxtel
