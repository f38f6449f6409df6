#include "applet/services/LanguageAware.h"

#include <type_traits>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/Accessibility.h"
#include "framework/Module.h"

template <class Base>
LanguageAware<Base>::LanguageAware(UINT templateId) {
    const LANGID language = UpdatedUserLanguage();
    const auto dialog = Module::Resource(kDialogType, templateId, language);
    const auto initData = Module::Resource(kDialogInitType, templateId, language);
    if constexpr (std::is_base_of_v<CPropertyPage, Base>) {
        this->SetTemplate(dialog, initData);
    } else {
        this->InitModalIndirect(dialog, initData);
    }
}

template <class Base>
bool LanguageAware<Base>::OnInitDialog() {
    NameControlsApart(this->m_hWnd);
    return Base::OnInitDialog();
}

template <class Base>
std::wstring LanguageAware<Base>::LoadText(UINT id) const {
    return LoadStringLang(id);
}

template <class Base>
int LanguageAware<Base>::ShowMessage(const std::wstring& text, UINT type) {
    return MessageBoxText(text, type);
}

template class LanguageAware<CDialog>;
template class LanguageAware<CPropertyPage>;
