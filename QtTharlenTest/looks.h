// The form, and what its file cannot say of the window's looks. Graphical thread.
#pragma once

class QTabWidget;
class QWidget;
class qtTharlenTest;

/// Makes the widgets of the form; once.
void makeForm(qtTharlenTest& window);

/// Less room beside a tab's text, so that the eight tabs of the user mode fit the window's usual width.
void narrowTabs(QTabWidget& tabs);

/// A read-out whose text changes asks the layouts around it for room, up to the window, whether it needs another or
/// not, and the toolkit then paints the whole of the tabs anew: 50 times a second on some. It ends at the tabs where
/// neither their pages together nor the bar ask for more or less than before.
void settleTabs(QTabWidget& tabs);

/// A frame while the widget has the keyboard: for one whose picture hides the style's own.
void frameFocus(QWidget& widget);

/// Tabs and graphics are scrolled; errors, arrows and footer stay in view. The wheel changes no control then.
void scrollTabs(qtTharlenTest& window);

/// Where the least height of the window does not fit its screen, as on a small one with an enlarged desktop,
/// scrollTabs(). Keeps the window within the screen at first. To be called before the window is shown.
void fitToScreen(qtTharlenTest& window);
