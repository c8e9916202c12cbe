#include "core/privacy/LinuxPrivateWindows.h"

#include "core/text/TextNormalizer.h"

#include <initializer_list>
#include <string_view>

namespace nomara::LinuxPrivateWindows {

namespace {

// Folding is left to the one that folds titles: it takes more from some scripts than one would think of.
std::vector<std::string> folded(std::initializer_list<std::string_view> words) {
    std::vector<std::string> list;
    list.reserve(words.size());
    for (const std::string_view word : words)
        list.push_back(TextNormalizer::normalize(word));
    return list;
}

} // namespace

const std::vector<std::string>& titleEndings() {
    static const std::vector<std::string> words = folded({
        // Chromium and its kin: "{page} - Chromium (Incognito)"
        "(Inkognito)",
        "(Inkognitó)",
        "(Incognito-modus)",
        "(Navigation privée)",
        "(In incognito)",
        "(Anônima)",
        "(Anónima)",
        "(Anònim)",
        "(Anonymní)",
        "(Anonymný)",
        "(Anonimowe)",
        "(Gizli mod)",
        "(Инкогнито)",
        "(Режим инкогнито)",
        "(Анонімний перегляд)",
        "(シークレット)",
        "(シークレット モード)",
        "(시크릿 모드)",
        "(无痕模式)",
        "(隐身模式)",
        "(無痕模式)",
        "(Privé)",
        "(Privat)",
        "(Privado)",
        "(Privata)",
        "(Prywatne)",
        "(Anonym)",
        "(Incógnito)",
        "(Incògnit)",
        "(Modo anônimo)",
        "(Navegação anónima)",
        "(Anonymní režim)",
        "(Inkognitó mód)",
        "(Inkognito režīms)",
        "(Anonimno)",
        "(Anonimni način)",
        "(Без архивирања)",
        "(Ανώνυμη περιήγηση)",
        "(Samaran)",
        "(Hali fiche)",
        "(Ẩn danh)",
        "(التصفح المتخفي)",
        "(ناشناس)",
        "(پوشیدگی)",
        "(גלישה בסתר)",
        "(गुप्त)",
        "(ছদ্মবেশী)",
        "(છૂપી)",
        "(ಅದೃಶ್ಯ)",
        "(ആള്‍മാറാട്ടം)",
        "(மறைநிலை)",
        "(అజ్ఞాతంగా)",
        "(ማንነትን የማያሳውቅ)",
        "(โหมดไม่ระบุตัวตน)",
        "(无痕)",
        // browsers of which every window is private
        "— Tor Browser",
        "- Tor Browser",
        "— Mullvad Browser",
        "- Mullvad Browser",
        // smaller browsers
        "(Incognito Mode)",
        "(Private Mode)",
    });
    return words;
}

const std::vector<std::string>& titleMarkers() {
    static const std::vector<std::string> phrases = folded({
        // Firefox and its kin: "{page} — Mozilla Firefox Private Browsing"
        "Privater Modus", "Navigazione anonima", "Navegação privativa", "Navegação privada", "Navegació privada",
        "Privénavigatie", "Privat surfning", "Privat browsing", "Privat nettlesing", "Yksityinen selaus",
        "Tryb prywatny", "Anonymní prohlížení", "Súkromné prehliadanie", "Privát böngészés", "Navigare privată",
        "Приватный просмотр", "Приватний перегляд", "Ιδιωτική περιήγηση", "プライベートブラウジング", "隐私浏览",
        "隱私瀏覽", "사생활 보호 모드",
        // windows and tabs by their names
        "Inkognitofenster", "Inkognito-Fenster", "Privates Surfen", "Fenêtre privée", "Ventana privada",
        "Ventana de incógnito", "Finestra anonima", "Finestra privata", "Finestra in incognito", "Janela anônima",
        "Janela privada", "Privévenster", "[Private Mode]", // the last is qutebrowser's
    });
    return phrases;
}

const std::vector<std::string>& controlLabels() {
    static const std::vector<std::string> labels = folded({
        "Inkognito",
        "Inkognitomodus",
        "Inkognito-Modus",
        "Inkognitofenster",
        "Privater Modus",
        "Privates Fenster",
        "Privates Surfen",
        "Navigation privée",
        "Fenêtre privée",
        "Incógnito",
        "Navegación privada",
        "Ventana privada",
        "In incognito",
        "Modalità di navigazione in incognito",
        "Navigazione anonima",
        "Finestra anonima",
        "Gizli mod",
        "Anônima",
        "Navegação privativa",
        "Navegação privada",
        "Privénavigatie",
        "Privat surfning",
        "Privat browsing",
        "Tryb prywatny",
        "Инкогнито",
        "Режим инкогнито",
        "Приватный просмотр",
        "Приватний перегляд",
        "シークレット",
        "シークレット モード",
        "プライベートブラウジング",
        "시크릿 모드",
        "无痕模式",
        "隐私浏览",
        "無痕模式",
        "隱私瀏覽",
        "Incognito Mode",
    });
    return labels;
}

} // namespace nomara::LinuxPrivateWindows
