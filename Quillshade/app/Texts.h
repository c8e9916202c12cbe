#pragma once

#include "core/base/Date.h"

#include <QString>
#include <QTranslator>
#include <string>

namespace nomara {

/// The text for the user behind an English key. Main thread.
QString localized(const char* key);

/// The English of this platform: rewords the keys that name another desktop's things. To be installed in the
/// application before a translation for the user's language.
class EnglishCatalogue final : public QTranslator {
public:
    using QTranslator::QTranslator;
    QString translate(const char* context, const char* key, const char* disambiguation, int number) const override;
    bool isEmpty() const override { return false; }
};

/// A language's name by its code, such as "tr-TR"; the code where there is none.
QString languageName(const std::string& code);

/// "Today {time}", "Yesterday {time}", else day and month, with the year if it isn't the current one, and the time.
QString momentLabel(Date date, Date now);

} // namespace nomara
