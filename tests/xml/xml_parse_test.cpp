// The parser: events, exceptions and encodings of documents in every width, and XML PARSE on top of it.
#include <pthread.h>

#include <algorithm>
#include <random>

#include "support/process.h"
#include "xml/documents.h"

using namespace qrt::test;

namespace {

// Every kind of event, most of them twice.
constexpr char sample[] =
    "<?xml version='1.0' encoding = \"%E\" standalone='no' ?>\r\n<!-- a - b --><?go  now ?? ?>"
    "<!DOCTYPE r [ <!ENTITY e \"]>\"> ]>\n<?stop?>"
    "<r a = 'x > ]]> &lt;y&#65;&#x10FFFF;&own;z' b=\"\" c:d='\"'\t>t1 &amp;&apos;&quot;&gt;&#x9;&e.1;]] ]>\n"
    "<n.1/><_-x ></_-x\n><!----><![CDATA[<&]] ]]><![CDATA[]]><?p?>tail<d><e f='1'/></d></r>\n<!--z--><?q "
    "r?> ";
constexpr char eventsOfSample[] =
    "{ V1.0 E%E Sno C a - b  Pgo Dnow ??  T<!DOCTYPE r [ <!ENTITY e \"]>\"> ]> Pstop D "
    "<r @a =x > ]]>  q60 =y r65 r1114111 uown =z @b = @c:d =\" tt1  Q38 Q39 Q34 Q62 R9 Ue.1 t]] ]>\n "
    "<n.1 >n.1 <_-x >_-x C [<![CDATA[ t<&]]  ]]]> [<![CDATA[ ]]]> Pp D ttail <d <e @f =1 >e >d >r Cz Pq Dr }";

std::string withName(std::string text, const Encoding& encoding) {
  const size_t at = text.find("%E");
  return at == text.npos ? text : text.replace(at, 2, encoding.declared);
}

TEST(Scanner, TellsEventsInEveryWidth) {
  for (const Encoding& encoding : encodings) {
    const auto check = [&](const char* document, const std::string& told, int32_t tableKind) {
      Events events{encoding.ccsid};
      EXPECT_EQ(events.parse(inEncoding(document, encoding), tableKind), 0) << encoding.name;
      EXPECT_EQ(events.all(), told) << encoding.name;
    };
    check(sample, withName(eventsOfSample, encoding), QRT_XML_SPLIT_TABLE);
    check("<?xml version=''?><a></a>", "{ V <a >a }", QRT_XML_SPLIT_TABLE);
    check("<a/><?p q r?><?s?>", "{ <a >a Pp,q r Ps, }", QRT_XML_SIMPLE_TABLE);
  }
}

// A document that ends early tells what came before, then the code of the place where it ends. A handler that
// wants no more gets no more.
TEST(Scanner, EndsAtEveryCutAndEveryEvent) {
  for (const Encoding& encoding : encodings) {
    const std::string document = inEncoding(sample, encoding);
    Events whole{encoding.ccsid};
    whole.parse(document);
    for (size_t number = 0; number < whole.list.size(); ++number) {
      Events stopped{encoding.ccsid, number};
      EXPECT_EQ(stopped.parse(document), -1);
      EXPECT_EQ(stopped.list.size(), number + 1) << encoding.name;
    }
    for (size_t size = 0; size < document.size(); ++size) {
      Events cut{encoding.ccsid};
      const int32_t code = cut.parse(std::string_view(document).substr(0, size));
      if (code != 0) {
        const std::string place = std::to_string(size < 4 ? 0 : size / static_cast<size_t>(encoding.unit));
        EXPECT_TRUE(size < 4 ? code == 317 : code >= 101 && code <= 121) << encoding.name << size;
        EXPECT_EQ(cut.list.back(), "!" + std::to_string(code) + "@" + place) << encoding.name << size;
        cut.list.pop_back();
      }
      EXPECT_TRUE(code == 0 ? std::ranges::count(cut.list, ">r") == 1
                            : std::equal(cut.list.begin(), cut.list.end(), whole.list.begin()))
          << encoding.name << size;
    }
  }
}

struct Fault {
  int32_t code;
  std::string document, exception, further;
};

// In each line a code and a document, where "^" stands before the unit that the exception names. Behind a
// bar, the exceptions that come when the parse goes on.
std::vector<Fault> listed(std::string_view text, const Encoding& encoding) {
  std::vector<Fault> faults;
  for (size_t end; (end = text.find('\n')) != text.npos; text.remove_prefix(end + 1)) {
    const size_t blank = text.find(' ') + 1, bar = std::min(text.find('|'), end);
    Fault fault = {atoi(text.data()), withName(std::string(text.substr(blank, bar - blank)), encoding), "",
                   std::string(text.substr(bar, end - bar)).erase(0, 1)};
    const size_t place = fault.document.find('^');
    fault.document.erase(place, 1);
    fault.exception =
        "!" + std::to_string(fault.code) + "@" + std::to_string(std::min(place + 1, fault.document.size()));
    faults.push_back(fault);
  }
  return faults;
}

TEST(Scanner, TellsExceptionsAndGoesOnAfterWarnings) {
  constexpr std::string_view faults =
      "101 <?xml version='1.0'^\n101 <?xml version='1.0' encoding='%E' ^\n"
      "101 <?xml version='1.0' standalone='no'?^\n102 <!--c-->^\n102   <!DOC^\n102 <!DOCTYPE a '>' [>^\n"
      "103 <?xml vers^\n103 <?xml vexx^\n101 <?xml version='1.0' ex^\n102 <!DX^\n119 <a><![X^\n104 <?xml "
      "version^\n104 <?xml version='1.^\n106 <?xml version='1.0' encoding='U^\n"
      "108 <?xml version='1.0' standalone='ye^\n109 <a b^\n109 <a b^ \n109 <a b='1' ^\n110 <a b=^\n"
      "110 <a b='&lt;^\n111 <a b='&l^\n112 <ab/^\n113 <ab  ^\n114 <a><b^\n114 <a></a^\n115 <a>&lt;^\n"
      "115 <a><b/>^\n115 <a><!---->^\n115 <a><?p?>^\n115 <a><b></b>]]^\n116 <a><?p ?^\n116 <?p?><?q^\n"
      "117 <a><!^\n118 <a/><!--^\n118 <a><!-^\n119 <a><![CDAT^\n119 <a><![CDATA[]]^\n120 <a>&#^\n121 <a/><^\n"
      "102 <!DOCTYPE a ]><a/>^\n"
      "122 <!DOC^type a><a/>\n122 <!DOCTYPE^[]><a/>\n123 <!DOCTYPE a><!^DOCTYPE a><a/>\n124 <^-a/>\n"
      "125 <a ^-b/>\n126 <a ^='1'/>\n127 <a b ^'1'/>\n128 <a b=^1/>\n130 <a b='1'^1='2'/>\n131 <a b='1'^'/>\n"
      "132 <ab/^ >\n133 <a></^ a>\n134 <a></a ^<\n135 <a><^1/></a>\n135 <a><^></a>\n"
      "136 <a><![CDAT^E[]]></a>\n137 <!-^x--><a/>\n138 <?^ p?><a/>\n139 <?p^=?><a/>\n140 <?p?^?><a/>\n"
      "141 <a>&^ </a>\n141 <a b='&^1;'/>\n142 <?xml ^standalone='no'?><a/>\n143 <?xml version ^'1.0'?><a/>\n"
      "144 <?xml version=^1.0?><a/>\n145 <?xml version='1.0^\"?><a/>\n"
      "146 <?xml version='1.0'^encoding='%E'?><a/>\n147 <?xml version='1.0' enc^?><a/>\n"
      "148 <?xml version='1.0' encoding ^'%E'?><a/>\n149 <?xml version='1.0' encoding=^%E?><a/>\n"
      "150 <?xml version='1.0' encoding='U^:8'?><a/>\n151 <?xml version='1.0' encoding='U'^s?><a/>\n"
      "152 <?xml version='1.0' standa^rd='no'?><a/>\n153 <?xml version='1.0' standalone^'no'?><a/>\n"
      "154 <?xml version='1.0' standalone=^no?><a/>\n155 <?xml version='1.0' standalone='ye^'?><a/>\n"
      "156 <?xml version='1.0' standalone='no^\"?><a/>\n157 <?xml version='1.0' standalone='no'^x?><a/>\n"
      "158 <?xml version='1.0' ^x?><a/>\n158 <?xml version='1.0'?^ ><a/>\n159 <a/><!^DOCTYPE a>\n"
      "160 <a/> <^b/>\n"
      "1 <!--c-->^x<a/>\n2 <^ <a/>\n2 <!^x<a/>| !1@3\n3 <a b='1' c='' b^='2'/>\n4 <a b='1^<2'/>\n5 <a></b^>\n"
      "5 <a><b></a^></a>\n6 <a>x^\x01y</a>\n6 <a><![CDATA[^\x1F]]></a>\n7 <a><^ b</a>\n7 <a><^<</a>\n"
      "7 <a><^]]></a>\n8 <a>x^]]></a>\n9 <!--^\x01--><a/>\n10 <!--a--^b<a/>| !1@8\n11 <?p ^\x0B?><a/>\n"
      "12 <?XmL v='1'?^><a/>\n13 <a b='&#x^g41;'/>\n14 <a>&#^a65;</a>\n"
      "15 <?xml version='1.0' encoding='^-'?><a/>\n15 <?xml version='1.0' encoding='^'?><a/>\n"
      "16 <a>&#1114112^;</a>\n16 <a>&#^;</a>\n16 <a>&#x^;</a>\n16 <a b='&#xDFFF^;'/>\n16 <a>&#65535^;</a>\n"
      "17 <a>&a^=;</a>\n18 <a b='^\x01'/>\n";
  for (const Encoding& encoding : encodings)
    for (const Fault& fault : listed(faults, encoding)) {
      const std::string document = inEncoding(fault.document, encoding);
      Events stopped{encoding.ccsid}, going{encoding.ccsid};
      stopped.answer = [](int32_t code) { return code < 70 || (code > 92 && code < 800) ? code : 0; };
      EXPECT_EQ(stopped.parse(document), fault.code) << encoding.name << fault.document;
      EXPECT_EQ(stopped.list.back(), fault.exception) << encoding.name << fault.document;
      int32_t last = 0;
      going.answer = [&](int32_t code) { return last = code, 0; };
      EXPECT_EQ(going.parse(document), last) << encoding.name << fault.document;
      EXPECT_EQ(going.all(), stopped.all() + fault.further + (fault.code >= 100 ? "" : " }"))
          << encoding.name << fault.document;
    }
  Events many{singleByte.ccsid};
  EXPECT_EQ(many.parse("<a b='' c='' d='' e='' f='' g='' h='' i='' j='' k='' l='' l=''/>"), 0);
}

TEST(Scanner, RefusesMalformedUtf8) {
  const auto check = [](const std::string& bytes, int32_t expected) {
    Events events{utf8.ccsid};
    EXPECT_EQ(events.parse("<a>" + std::string(25, 'x') + bytes + "</a>"), expected) << bytes;
    EXPECT_EQ(events.list.back(), expected < 161 ? "}" : "!" + std::to_string(expected) + "@29") << bytes;
    // The same inside of a name and of a value, and at the very end.
    for (const char* before : {"<abc", "<a b='", "<a><!--", "<?pi", "<!DOCTYPE "}) {
      const int32_t code = Events{utf8.ccsid}.parse(before + bytes);
      EXPECT_TRUE(code == expected || (code < 161 && code > 100)) << before << bytes << code;
    }
  };
  for (const char* malformed : {"\x80", "\xC1\x80", "\xC3", "\xE0\x9F\x80", "\xED\xA0\x80", "\xE2\x82",
                                "\xF0\x8F\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"})
    check(malformed, 161);
  check("\xF0\x9F\x98\x80", 162);
  check("\xEF\xBF\xBE", 6);
  check("\xC3\xA9\xEF\xBF\xBD", 0);
}

TEST(Scanner, LeavesAMarkOutOfTheText) {
  const std::string mark = "\xEF\xBB\xBF";
  const auto check = [](int32_t ccsid, const std::string& document, const char* told) {
    Events events{ccsid};
    events.parse(document);
    EXPECT_EQ(events.all(), told);
  };
  check(utf8.ccsid, mark + "<a>\xC3\x9F</a>", "{ <a t\xC3\x9F >a }");
  check(utf8.ccsid, mark + "<a>&</a>", "{ <a !141@8");
  check(utf16.ccsid, inEncoding(u"\xFEFF<a>\x3B1\xD83D\xDE00&</a>", "UTF-16LE") + "!",
        "{ <a t\xCE\xB1\xF0\x9F\x98\x80 !141@9");
}

// ---- Classes

bool isLegal(char16_t unit) {
  return unit >= 0x20 ? unit < 0xFFFE : unit == 9 || unit == 10 || unit == 13;
}

bool isIn(char16_t unit, std::u16string_view pairs) {
  for (size_t at = 0; at < pairs.size(); at += 2)
    if (unit >= pairs[at] && unit <= pairs[at + 1]) return true;
  return false;
}

constexpr std::u16string_view starts =
    u"::AZ__"
    u"az\x00C0\x00D6\x00D8\x00F6\x00F8\x02FF\x0370\x037D\x037F\x1FFF\x200C\x200D\x2070\x218F\x2C00\x2FEF"
    u"\x3001"
    u"\xD7FF\xF900\xFDCF\xFDF0\xFFFD";
constexpr std::u16string_view others = u"--..09\x00B7\x00B7\x0300\x036F\x203F\x2040";

// Holds the parser's classes of a unit against the sets, by three documents around its bytes. (In UTF-16 the
// second character tells the order of bytes.)
void checkClasses(char16_t unit, const std::string& bytes, int32_t ccsid,
                  const std::function<std::string(const char*)>& text) {
  const auto parse = [&](const char* before, const char* behind) {
    Events events{ccsid};
    events.answer = [](int32_t code) { return code; };
    const int32_t code = events.parse(text(before) + bytes + text(behind));
    for (const std::string& event : events.list)
      if (event.starts_with('<')) return std::pair(code, event.size());
    return std::pair(code, size_t{0});
  };
  const bool isStart = isIn(unit, starts);
  EXPECT_EQ(parse("\n<", "/>").first == 0, isStart) << ccsid << ": " << int{unit};
  EXPECT_EQ(parse("<a", "/>").second > 2, isStart || isIn(unit, others)) << ccsid << ": " << int{unit};
  if (unit == '<' || unit == '&') return;
  EXPECT_EQ(parse("<a>in the midst ", " of a long run</a>").first, isLegal(unit) ? 0 : 6)
      << ccsid << ": " << int{unit};
}

TEST(Classes, AreThoseOfTheNorm) {
  std::vector<char16_t> units = {0xFFFD, 0xFFFE, 0xFFFF, 0x2028, 0x3000, 0xE000};
  for (char16_t unit = 1; unit < 0x180; ++unit) units.push_back(unit);
  for (const std::u16string_view set : {starts, others})
    for (const char16_t edge : set)
      for (const int step : {-1, 0, 1}) units.push_back(static_cast<char16_t>(edge + step));
  for (const char16_t unit : units) {
    const std::u16string one(1, unit);
    const auto wide = [](const char* ascii) {
      return inEncoding(std::u16string(ascii, ascii + strlen(ascii)), "UTF-16LE");
    };
    const auto plain = [](const char* ascii) { return std::string(ascii); };
    if (unit >= 0xD800 && unit <= 0xDFFF) continue;
    checkClasses(unit, inEncoding(one, "UTF-8"), utf8.ccsid, plain);
    checkClasses(unit, inEncoding(one, "UTF-16LE"), utf16.ccsid, wide);
  }
}

TEST(Classes, OfCodePagesFollowTheirMappings) {
  // The last ones have no block of their own.
  constexpr int32_t pages[] = {1047, 37,  1140, 273,  1141, 277, 1142, 278, 1143, 280, 1144, 284,
                               1145, 285, 1146, 297,  1147, 500, 1148, 871, 1149, 819, 813,  9005,
                               920,  437, 850,  1252, 424,  875, 1026, 921, 1250, 866};
  for (const int32_t page : pages) {
    const std::string name = "QMC-" + std::to_string(page);
    std::string all(256, 0);
    for (size_t byte = 0; byte < 256; ++byte) all[byte] = static_cast<char>(byte);
    const std::u16string units = toUnits(all, name.c_str());
    ASSERT_EQ(units.size(), 256u) << page;
    const auto inPage = [&](const char* ascii) {
      std::string text;
      for (; *ascii != 0; ++ascii) text += static_cast<char>(units.find(static_cast<char16_t>(*ascii)));
      return text;
    };
    for (size_t byte = 1; byte < 256; ++byte) checkClasses(units[byte], all.substr(byte, 1), page, inPage);
  }
}

// ---- Encodings

// A name with a byte that is a letter in page 850, and a text that is no UTF-8: 0 for page 850, 126 for pages
// 819 and 1252, and 161 for UTF-8.
std::string telling(const std::string& name) {
  const std::string far = "<?xml version='1.0'" + std::string(600, ' ');
  return (name.empty() ? "" : far + "encoding='" + name + "'?>") + "<a\x80/>";
}

// The same in EBCDIC: 0 for page 273, 126 for page 37.
std::string tellingEbcdic(const std::string& name) {
  const std::string text = telling(name);
  return inEncoding(text.substr(0, text.size() - 3), ebcdic) + "\x4A" + inEncoding("/>", ebcdic);
}

TEST(Encodings, AreAskedFor) {
  using namespace std::string_view_literals;
  // In each line the caller's page, the first exception or 0, the codes of the parse by the answers 0, that
  // exception's code and another one, and the document, which may be the telling one of an encoding.
  std::string_view rows =
      "819 317 317 317 317 \n819 317 317 317 317 <a>\n819 317 317 317 317 x<a/>\n"
      "1202 315 315 315 315 \0<\0a\0/\0>\n1200 315 315 315 315 \xFE\xFF\0<\0a\0/\0>\n"
      "819 316 316 316 316 \0\0\0<\n819 316 316 316 316 \0\0\xFE\xFF\n819 316 316 316 316 <\0\0\0\n"
      "819 316 316 316 316 \xFF\xFE\0\0\n1202 317 317 317 317 <\0\x01\x01/\0>\0\n"
      "1208 0 0 0 0 \xC2\x85<a/>\n1208 0 0 0 0 \r\xC2\x85<a/>\n819 0 0 0 0 \r\r\r<a/>\n"
      "1202 0 0 0 0 \r\0\r\0<\0a\0/\0>\0\n1208 1 1 1 1 \r\r\xEF\xBB\xBF<a/>\n819 0 0 0 0 \x85\x85<a/>\n"
      "37 0 0 0 0 \r\x25\x4C\x81\x61\x6E\n819 92 0 92 92 <\0a\0/\0>\0\n37 323 323 323 323 <a/>\n"
      "1202 321 321 321 321 <a/>\n930 325 325 325 325 <a>\xC3\x84</a>\n"
      "1202 324 324 324 324 <a>\xC3\x84</a>\n819 322 322 322 322 ~\n943 322 322 322 322 ~\n"
      "1202 320 320 320 320 ~\n37 126 126 126 126 ~\n273 0 0 0 0 ~QMC-273\n273 70 0 70 70 ~nonsense\n"
      "273 70 0 70 70 ~ISO-8859-1\n37 273 126 0 100273 ~QMC-273\n1 71 570 71 71 ~QMC-273\n"
      "1 72 570 72 72 ~\n930 73 570 73 73 ~nonsense\n850 0 0 0 0 =\n850 80 0 80 80 =nonsense\n"
      "850 80 0 80 80 =UTF-16\n850 819 0 126 200819 =ISO-8859-1\n1 81 0 81 81 =QMC-850\n"
      "943 81 0 81 81 =QMC-850\n1 82 126 82 82 =\n1200 82 126 82 82 <?xml version='1.0'?><a\x80/>\n"
      "1 83 126 83 83 =QMC-273\n1208 84 161 84 84 =\n1208 85 161 85 85 =1\n850 86 161 86 86 =UTF-8\n"
      "1208 87 161 87 87 =UTF-8\n1 88 161 88 88 =UTF-8\n1208 89 161 89 89 =QMC-850\n"
      "1 81 570 81 81 =QMC-943\n1208 0 0 0 0 <?xml version='1.0' encoding='ISO-8859-1'?><a/>\n"
      "1 82 0 82 82 <a/>\n1208 0 0 0 0 <?xml version='1.0' encoding='UTF-8'?><a>\xC3\x84</a>\n"
      "850 1208 0 0 201208 <?xml version='1.0' encoding='UTF-8'?><a>\xC3\x84</a>\n"
      "1 82 0 82 82 <a>\xC3\x84</a>\n943 570 570 570 570 <a>\xC3\x84</a>\n"
      "1208 89 0 89 89 <?xml version='1.0' encoding='QMC-850'?><a>\xC3\x84</a>\n"sv;
  for (size_t end; (end = rows.find('\n')) != rows.npos; rows.remove_prefix(end + 1)) {
    int32_t ccsid, first, codes[3];
    int32_t start;
    ASSERT_EQ(
        sscanf(rows.data(), "%d %d %d %d %d%n", &ccsid, &first, &codes[0], &codes[1], &codes[2], &start), 5);
    std::string document(rows.substr(static_cast<size_t>(start) + 1, end - static_cast<size_t>(start) - 1));
    if (document.starts_with('=')) document = telling(document.substr(1));
    if (document.starts_with('~')) document = tellingEbcdic(document.substr(1));
    for (const int32_t answer : {0, 1, 2}) {
      Events events{ccsid};
      int32_t asked = 0;
      events.answer = [&](int32_t code) {
        if (asked == 0) asked = code;
        return answer == 0 || code != asked ? 0 : answer == 1 ? code : 7;
      };
      EXPECT_EQ(events.parse(document), codes[answer]) << document << ccsid << " " << answer;
      EXPECT_EQ(asked, first) << document << ccsid;
      const bool isPlaced = asked == 1 || asked == 126;
      EXPECT_TRUE(asked == 0 || isPlaced || events.list[0] == "!" + std::to_string(asked) + "@0") << document;
    }
  }
}

TEST(Scanner, ReadsAlikeInEveryWidth) {
  constexpr std::string_view bits[] = {"<a>",  "</a>", "<b c='",    "' d=\"",
                                       "\">",  "/>",   "&lt;",      "&#65;",
                                       "&u;",  "]]>",  "<![CDATA[", "<!--",
                                       "-->",  "<?p ", "?>",        "<",
                                       "&",    "]",    "\n",        "a fairly long run of plain text, ",
                                       "\x01", "'"};
  std::mt19937 random(8);
  for (int32_t round = 0; round < 3000; ++round) {
    std::string text = "<!----><r>";
    for (uint32_t count = random() % 24; count > 0; --count) text += bits[random() % std::size(bits)];
    text += "</r>";
    std::string expected;
    for (const Encoding& encoding : encodings) {
      Events events{encoding.ccsid};
      events.list.push_back(std::to_string(events.parse(inEncoding(text, encoding))));
      if (&encoding == encodings) expected = events.all();
      ASSERT_EQ(events.all(), expected) << text;
    }
  }
}

// ---- Limits

// Nesting is kept in storage of the parser's, not on the machine's stack.
TEST(Scanner, NestsAMillionLevels) {
  constexpr size_t levels = 1'000'000, stackSize = 256 * 1024;
  static std::string document;
  for (const char* tag : {"<a>", "</a>"})
    for (size_t level = 0; level < levels; ++level) document += tag;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  pthread_t thread;
  const auto parse = [](void*) -> void* {
    Events events{singleByte.ccsid};
    EXPECT_EQ(events.parse(document), 0);
    EXPECT_EQ(events.list.size(), 2 * levels + 2);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, parse, nullptr), 0);
  pthread_join(thread, nullptr);
}

TEST(Entries, RefuseTablesAndMissingStorage) {
  std::array<void*, 25> table = Events::handlers(QRT_XML_SPLIT_TABLE);
  void* parser;
  int32_t info = 0;
  const auto pass = [&](int32_t count, int32_t kind, void* const* handlers, std::string_view text = "<a/>") {
    return PASSXML(nullptr, &parser, count, &info, handlers, text.data(), static_cast<int32_t>(text.size()),
                   819, kind);
  };
  EXPECT_EQ(pass(2, 2, table.data()), 502);
  EXPECT_EQ(parser, nullptr);
  EXPECT_EQ(pass(1, 3, table.data()), 503);
  EXPECT_EQ(pass(2, 3, nullptr), 0);
  EXPECT_EQ(SAXPARSE(parser), 561);
  RLSEDOC(parser);
  table.fill(nullptr);
  for (const char* document : {"<?p q?><a b='&x;'>&#1;</a>", "<a>&"}) {
    ASSERT_EQ(pass(1, 2, table.data(), document), 0);
    EXPECT_EQ(SAXPARSE(parser), document[1] == '?' ? 16 : 120);
    RLSEDOC(parser);
  }
  if (!canFailAllocations) return;
  const FailingAllocation none(1);
  EXPECT_EQ(pass(1, 3, nullptr), 500);
}

// ---- XML PARSE

struct Statement {
  QrtXmlParseBlock block{};
  std::string event = std::string(30, '?') + "|";
  const void* text = &text;
  int32_t textLength = -1, ntextLength = -1, code = -1, returned = -1;
  std::function<void(Statement&)> procedure = [](Statement&) {};
  const char* leftAt = "none";  // the event at which the procedure isn't left by its exit
  std::string log;

  int32_t run(std::string_view document, int32_t ccsid, uint32_t flags = 0) {
    block = {};
    block.ccsid = ccsid;
    block.flags = flags;
    block.document = document.data();
    block.documentLength = static_cast<int32_t>(document.size());
    block.eventRegister = reinterpret_cast<uint8_t*>(event.data());
    block.textRegister = &text;
    block.textLengthRegister = &textLength;
    block.ntextLengthRegister = &ntextLength;
    block.codeRegister = &code;
    block.returnRegister = &returned;
    block.procedureArgument = this;
    block.procedure = [](void* argument) {
      auto& self = *static_cast<Statement*>(argument);
      self.log += self.event.substr(0, self.event.find_last_not_of(" |") + 1) + " ";
      const auto* bytes = static_cast<const char*>(self.text);
      self.log += std::string(bytes, static_cast<size_t>(self.textLength)) + "/";
      for (int32_t at = 0; at < self.ntextLength; ++at)
        self.log += "0123456789ABCDEF"[bytes[at] >> 4 & 15], self.log += "0123456789ABCDEF"[bytes[at] & 15];
      self.log += self.code != 0 ? " " + std::to_string(self.code) + "\n" : "\n";
      self.procedure(self);
      if (!self.event.starts_with(self.leftAt)) self.text = nullptr;
    };
    const int32_t result = _qrtcXML(&block);
    EXPECT_EQ(text, &text);
    EXPECT_EQ(result, code);
    EXPECT_EQ(returned, result == 0 ? 0 : 2);
    EXPECT_TRUE(textLength == 0 && ntextLength == 0 && event.ends_with('|'));
    return result;
  }

  // What a clean parse tells behind the start of the document.
  std::string toldOf(std::string_view document, int32_t ccsid) {
    EXPECT_EQ(run(document, ccsid), 0);
    return log.substr(log.find('\n') + 1);
  }
};

TEST(XmlParse, SetsTheRegisters) {
  constexpr char document[] =
      "<?xml version='1.0'?><!DOCTYPE r><r a='' b='x&lt;&#65;&y;'>t&gt;&#x10000;&z;<![CDATA[]]><?p d?>"
      "<!--c--></r>";
  EXPECT_EQ(
      Statement().toldOf(document, 819),
      "VERSION-INFORMATION 1.0/\nDOCUMENT-TYPE-DECLARATION <!DOCTYPE r>/\nSTART-OF-ELEMENT r/\n"
      "ATTRIBUTE-NAME a/\nATTRIBUTE-CHARACTERS /\nATTRIBUTE-NAME b/\nATTRIBUTE-CHARACTERS x/\n"
      "ATTRIBUTE-CHARACTER </\nATTRIBUTE-NATIONAL-CHARACTER /4100\nUNKNOWN-REFERENCE-IN-ATTRIBUTE y/\n"
      "CONTENT-CHARACTERS t/\nCONTENT-CHARACTER >/\nCONTENT-NATIONAL-CHARACTER /00D800DC\n"
      "UNKNOWN-REFERENCE-IN-CONTENT z/\nSTART-OF-CDATA-SECTION <![CDATA[/\nEND-OF-CDATA-SECTION ]]>/\n"
      "PROCESSING-INSTRUCTION-TARGET p/\nPROCESSING-INSTRUCTION-DATA d/\nCOMMENT c/\nEND-OF-ELEMENT r/\n"
      "END-OF-DOCUMENT /\n");
  EXPECT_EQ(Statement().toldOf(inEncoding("<a>&lt;t</a>", utf16), 1202),
            "START-OF-ELEMENT /6100\nCONTENT-CHARACTER /3C00\nCONTENT-CHARACTERS /7400\nEND-OF-ELEMENT "
            "/6100\nEND-OF-DOCUMENT /\n");
  Statement ebcdicNames;
  ebcdicNames.procedure = [](Statement& self) { self.code = self.event[0] == '\xC5' ? 9 : 0; };  // an "E"
  EXPECT_EQ(ebcdicNames.run(inEncoding("<a/>", ebcdic), 1140, QRT_XML_EBCDIC_EVENTS), -1);
}

TEST(XmlParse, TakesAnswersFromTheCode) {
  Statement kept;
  EXPECT_EQ(kept.run("<a>\x01</a>", 819), 6);
  EXPECT_TRUE(kept.log.ends_with("\nEXCEPTION <a>\x01/ 6\n")) << kept.log;
  Statement cleared;
  cleared.procedure = [](Statement& self) { self.code = 0; };
  EXPECT_EQ(cleared.run("<a>\x01</a>", 819), 6);
  EXPECT_TRUE(cleared.log.ends_with("\x01/ 6\nEND-OF-DOCUMENT /\n")) << cleared.log;
  Statement stopping;
  stopping.procedure = [](Statement& self) { self.code = self.event.starts_with("END-OF-EL") ? 4 : 0; };
  EXPECT_EQ(stopping.run("<a/>", 0), -1);
  EXPECT_NE(stopping.block.ccsid, 0);
  Statement page;
  EXPECT_EQ(page.run(telling("QMC-850"), 819), 0);  // the declared page is the code, and so the answer
  EXPECT_TRUE(page.log.starts_with("EXCEPTION / 850\nSTART-OF-DOCUMENT ")) << page.log;
}

TEST(XmlParse, TellsMisuse) {
  const Ended again = inChild([] {
    _qrtPgmInit(nullptr);
    Statement nested;
    nested.procedure = [](Statement& self) { qrtcXML(&self.block); };
    nested.run("<a/>", 819);
  });
  EXPECT_NE(again.err.find("QRT242"), again.err.npos) << again.err;
  for (const char* event : {"START-OF-DOCUMENT", "CONTENT-CHARACTER ", "EXCEPTION"}) {
    const Ended left = inChild([=] {
      _qrtPgmInit(nullptr);
      Statement statement;
      statement.leftAt = event;
      statement.procedure = [](Statement& self) { printf("%s", self.event.c_str()); };
      statement.run("<a>&lt;", 819);
    });
    EXPECT_TRUE(left.err.starts_with("QRT243")) << left.err;
    EXPECT_EQ(left.out.find(event), left.out.size() - 31) << "no further event";
  }
}

// A severe error under a debugger unwinds to the entry, also where the procedure itself raises it.
TEST(XmlParse, IsLeftInOrderByASevereError) {
  const std::string told = apart([] {
    _qrtPgmInit(nullptr);
    _qrtIsDebuggerLoaded = 1;
    setenv("PATH", "/nowhere", 1);
    Statement statement;
    statement.run("<a/>", 819);
    statement.procedure = [](Statement& self) {
      if (self.event.starts_with("ATTRIBUTE")) qrtWriteERRmsg(40, 0, 1);
    };
    int32_t blocks = -1;
    for (const char* leftAt : {"none", "START-OF-ELEMENT", "none", "none"}) {
      statement.leftAt = leftAt;
      statement.run("<a b='&lt;'/>", 819);
      EXPECT_EQ(threadStorage()->anchor, nullptr);
      EXPECT_TRUE(blocks < 0 || liveBlocks() == blocks);
      blocks = canFailAllocations ? liveBlocks() : -1;
    }
    EXPECT_EQ(statement.run("<a/>", 819), 0);
  });
  EXPECT_EQ(std::ranges::count(told, 'Q'), 4) << told;
}

}  // namespace
