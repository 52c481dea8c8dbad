#include "engine/content/ContentType.h"

namespace kova {

namespace {

const wchar_t* groupName(ContentGroup group) {
    switch (group) {
    case ContentGroup::Pictures:
        return L"Pictures";
    case ContentGroup::Videos:
        return L"Videos";
    case ContentGroup::Sounds:
        return L"Sounds";
    case ContentGroup::Documents:
        return L"Documents";
    case ContentGroup::Archives:
        return L"Archives";
    case ContentGroup::Programs:
        return L"Programs";
    case ContentGroup::Other:
        break;
    }
    return L"Other";
}

} // namespace

std::wstring contentFolder(const ContentType& type) {
    return std::wstring(groupName(type.group)) + L'/' + type.name;
}

} // namespace kova
