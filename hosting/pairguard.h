#ifndef HOSTING_PAIRGUARD_H
#define HOSTING_PAIRGUARD_H

#include <QObject>

#include <functional>

class QAbstractButton;

namespace hosting {

class PluginSession;

/// Asks the user back before a press on one of the panel's buttons does harm: before a doubtful
/// pair is confirmed, and before pairs are cleared. It sees mouse and keys; a program that presses
/// the buttons is not asked.
class PairGuard : public QObject {
    Q_OBJECT
public:
    /// Shows the question to the user; true for yes.
    using Ask = std::function<bool(const QString &question)>;

    /// `session` must outlive this object.
    PairGuard(PluginSession *session, const Ask &ask);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void watch();
    QString question(const QAbstractButton *button) const;
    void askAndPress(QAbstractButton *button);

    PluginSession *m_session;
    Ask m_ask;
};

} // namespace hosting

#endif
