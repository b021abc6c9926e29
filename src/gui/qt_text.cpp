// Texts between the model and the screen. The model holds code page 1252;
// Qt holds Unicode. Every text crosses here and nowhere else, through the
// program's own conversion, so that a byte the code page leaves undefined
// still comes back as it went.
#include "gui/qt_internal.h"
#include "platform/cp1252.h"

#include <QFile>

QString QtText(const std::string &cp1252) {
  return QString::fromUtf8(Cp1252ToUtf8(cp1252));
}

QString QtText(const char *cp1252) {
  return QtText(std::string(cp1252 != nullptr ? cp1252 : ""));
}

std::string QtBytes(const QString &text) {
  QByteArray utf8 = text.toUtf8();
  return Utf8ToCp1252(std::string(utf8.constData(), utf8.size()));
}

namespace {

// Where the mnemonic mark stands: the first "~", else the first "&" that is
// not one of a doubled "&&" (an ampersand as it stands); npos for none.
size_t MarkAt(const std::string &s) {
  size_t tilde = s.find('~');
  if (tilde != std::string::npos)
    return tilde;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '&')
      continue;
    if (i + 1 < s.size() && s[i + 1] == '&')
      ++i;
    else
      return i;
  }
  return std::string::npos;
}

bool Doubled(const std::string &s, size_t i) {
  return s[i] == '&' && i + 1 < s.size() && s[i + 1] == '&';
}

} // namespace

QString QtMnemonic(const std::string &title) {
  size_t mark = MarkAt(title);
  std::string out;
  for (size_t i = 0; i < title.size(); ++i) {
    if (i == mark) {
      if (i + 1 < title.size())
        out += '&';
    } else if (title[i] == '&') {
      out += "&&";
      if (Doubled(title, i))
        ++i;
    } else {
      out += title[i];
    }
  }
  return QtText(out);
}

QString QtPlain(const std::string &title) {
  size_t mark = MarkAt(title);
  std::string plain;
  for (size_t i = 0; i < title.size(); ++i) {
    if (i == mark)
      continue;
    plain += title[i];
    if (Doubled(title, i))
      ++i;
  }
  return QtText(plain);
}

QString QtPath(const char *path) {
  return QFile::decodeName(QByteArray(path != nullptr ? path : ""));
}

std::string QtPathBytes(const QString &path) {
  QByteArray b = QFile::encodeName(path);
  return std::string(b.constData(), b.size());
}
