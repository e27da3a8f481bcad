#include <utility>

#include <TLX/Language_Support/LanguageSupport.h>

namespace TLX::Language_Support {

CLanguageSupport::CLngFile::CLngFile(std::string fileName, unsigned int languageCode,
                                     std::string encoding, unsigned int firstMessage,
                                     std::vector<std::string> defaultMessages,
                                     std::size_t messageCount)
    : m_FileName(std::move(fileName)),
      m_LanguageCode(languageCode),
      m_Encoding(std::move(encoding)),
      m_FirstMessage(firstMessage),
      m_DefaultMessages(std::move(defaultMessages)),
      m_MessageCount(messageCount) {}

}  // namespace TLX::Language_Support
