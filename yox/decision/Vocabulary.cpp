#include "yox/decision/Vocabulary.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "yox/base/EnclosureNames.h"
#include "yox/base/NearestWord.h"

namespace yox::decision {
namespace {

// clang-format off

// The codes and English short names of ISO 3166-1.
constexpr auto kCountries = std::to_array<CodeRow>({
    {"AD", "AND", "Andorra"}, {"AE", "ARE", "United Arab Emirates"}, {"AF", "AFG", "Afghanistan"},
    {"AG", "ATG", "Antigua and Barbuda"}, {"AI", "AIA", "Anguilla"}, {"AL", "ALB", "Albania"},
    {"AM", "ARM", "Armenia"}, {"AO", "AGO", "Angola"}, {"AQ", "ATA", "Antarctica"},
    {"AR", "ARG", "Argentina"}, {"AS", "ASM", "American Samoa"}, {"AT", "AUT", "Austria"},
    {"AU", "AUS", "Australia"}, {"AW", "ABW", "Aruba"}, {"AX", "ALA", "Åland Islands"},
    {"AZ", "AZE", "Azerbaijan"}, {"BA", "BIH", "Bosnia and Herzegovina"},
    {"BB", "BRB", "Barbados"}, {"BD", "BGD", "Bangladesh"}, {"BE", "BEL", "Belgium"},
    {"BF", "BFA", "Burkina Faso"}, {"BG", "BGR", "Bulgaria"}, {"BH", "BHR", "Bahrain"},
    {"BI", "BDI", "Burundi"}, {"BJ", "BEN", "Benin"}, {"BL", "BLM", "Saint Barthélemy"},
    {"BM", "BMU", "Bermuda"}, {"BN", "BRN", "Brunei Darussalam"}, {"BO", "BOL", "Bolivia"},
    {"BQ", "BES", "Bonaire"}, {"BR", "BRA", "Brazil"}, {"BS", "BHS", "Bahamas"},
    {"BT", "BTN", "Bhutan"}, {"BV", "BVT", "Bouvet Island"}, {"BW", "BWA", "Botswana"},
    {"BY", "BLR", "Belarus"}, {"BZ", "BLZ", "Belize"}, {"CA", "CAN", "Canada"},
    {"CC", "CCK", "Cocos"}, {"CD", "COD", "Democratic Republic of the Congo"},
    {"CF", "CAF", "Central African Republic"}, {"CG", "COG", "Congo"},
    {"CH", "CHE", "Switzerland"}, {"CI", "CIV", "Côte d'Ivoire"}, {"CK", "COK", "Cook Islands"},
    {"CL", "CHL", "Chile"}, {"CM", "CMR", "Cameroon"}, {"CN", "CHN", "China"},
    {"CO", "COL", "Colombia"}, {"CR", "CRI", "Costa Rica"}, {"CU", "CUB", "Cuba"},
    {"CV", "CPV", "Cabo Verde"}, {"CW", "CUW", "Curaçao"}, {"CX", "CXR", "Christmas Island"},
    {"CY", "CYP", "Cyprus"}, {"CZ", "CZE", "Czechia"}, {"DE", "DEU", "Germany"},
    {"DJ", "DJI", "Djibouti"}, {"DK", "DNK", "Denmark"}, {"DM", "DMA", "Dominica"},
    {"DO", "DOM", "Dominican Republic"}, {"DZ", "DZA", "Algeria"}, {"EC", "ECU", "Ecuador"},
    {"EE", "EST", "Estonia"}, {"EG", "EGY", "Egypt"}, {"EH", "ESH", "Western Sahara"},
    {"ER", "ERI", "Eritrea"}, {"ES", "ESP", "Spain"}, {"ET", "ETH", "Ethiopia"},
    {"FI", "FIN", "Finland"}, {"FJ", "FJI", "Fiji"}, {"FK", "FLK", "Falkland Islands"},
    {"FM", "FSM", "Micronesia"}, {"FO", "FRO", "Faroe Islands"}, {"FR", "FRA", "France"},
    {"GA", "GAB", "Gabon"}, {"GB", "GBR", "United Kingdom"}, {"GD", "GRD", "Grenada"},
    {"GE", "GEO", "Georgia"}, {"GF", "GUF", "French Guiana"}, {"GG", "GGY", "Guernsey"},
    {"GH", "GHA", "Ghana"}, {"GI", "GIB", "Gibraltar"}, {"GL", "GRL", "Greenland"},
    {"GM", "GMB", "Gambia"}, {"GN", "GIN", "Guinea"}, {"GP", "GLP", "Guadeloupe"},
    {"GQ", "GNQ", "Equatorial Guinea"}, {"GR", "GRC", "Greece"},
    {"GS", "SGS", "South Georgia and the South Sandwich Islands"}, {"GT", "GTM", "Guatemala"},
    {"GU", "GUM", "Guam"}, {"GW", "GNB", "Guinea-Bissau"}, {"GY", "GUY", "Guyana"},
    {"HK", "HKG", "Hong Kong"}, {"HM", "HMD", "Heard Island and McDonald Islands"},
    {"HN", "HND", "Honduras"}, {"HR", "HRV", "Croatia"}, {"HT", "HTI", "Haiti"},
    {"HU", "HUN", "Hungary"}, {"ID", "IDN", "Indonesia"}, {"IE", "IRL", "Ireland"},
    {"IL", "ISR", "Israel"}, {"IM", "IMN", "Isle of Man"}, {"IN", "IND", "India"},
    {"IO", "IOT", "British Indian Ocean Territory"}, {"IQ", "IRQ", "Iraq"}, {"IR", "IRN", "Iran"},
    {"IS", "ISL", "Iceland"}, {"IT", "ITA", "Italy"}, {"JE", "JEY", "Jersey"},
    {"JM", "JAM", "Jamaica"}, {"JO", "JOR", "Jordan"}, {"JP", "JPN", "Japan"},
    {"KE", "KEN", "Kenya"}, {"KG", "KGZ", "Kyrgyzstan"}, {"KH", "KHM", "Cambodia"},
    {"KI", "KIR", "Kiribati"}, {"KM", "COM", "Comoros"}, {"KN", "KNA", "Saint Kitts and Nevis"},
    {"KP", "PRK", "North Korea"}, {"KR", "KOR", "South Korea"}, {"KW", "KWT", "Kuwait"},
    {"KY", "CYM", "Cayman Islands"}, {"KZ", "KAZ", "Kazakhstan"}, {"LA", "LAO", "Laos"},
    {"LB", "LBN", "Lebanon"}, {"LC", "LCA", "Saint Lucia"}, {"LI", "LIE", "Liechtenstein"},
    {"LK", "LKA", "Sri Lanka"}, {"LR", "LBR", "Liberia"}, {"LS", "LSO", "Lesotho"},
    {"LT", "LTU", "Lithuania"}, {"LU", "LUX", "Luxembourg"}, {"LV", "LVA", "Latvia"},
    {"LY", "LBY", "Libya"}, {"MA", "MAR", "Morocco"}, {"MC", "MCO", "Monaco"},
    {"MD", "MDA", "Moldova"}, {"ME", "MNE", "Montenegro"}, {"MF", "MAF", "Saint Martin"},
    {"MG", "MDG", "Madagascar"}, {"MH", "MHL", "Marshall Islands"},
    {"MK", "MKD", "North Macedonia"}, {"ML", "MLI", "Mali"}, {"MM", "MMR", "Myanmar"},
    {"MN", "MNG", "Mongolia"}, {"MO", "MAC", "Macao"}, {"MP", "MNP", "Northern Mariana Islands"},
    {"MQ", "MTQ", "Martinique"}, {"MR", "MRT", "Mauritania"}, {"MS", "MSR", "Montserrat"},
    {"MT", "MLT", "Malta"}, {"MU", "MUS", "Mauritius"}, {"MV", "MDV", "Maldives"},
    {"MW", "MWI", "Malawi"}, {"MX", "MEX", "Mexico"}, {"MY", "MYS", "Malaysia"},
    {"MZ", "MOZ", "Mozambique"}, {"NA", "NAM", "Namibia"}, {"NC", "NCL", "New Caledonia"},
    {"NE", "NER", "Niger"}, {"NF", "NFK", "Norfolk Island"}, {"NG", "NGA", "Nigeria"},
    {"NI", "NIC", "Nicaragua"}, {"NL", "NLD", "Netherlands"}, {"NO", "NOR", "Norway"},
    {"NP", "NPL", "Nepal"}, {"NR", "NRU", "Nauru"}, {"NU", "NIU", "Niue"},
    {"NZ", "NZL", "New Zealand"}, {"OM", "OMN", "Oman"}, {"PA", "PAN", "Panama"},
    {"PE", "PER", "Peru"}, {"PF", "PYF", "French Polynesia"}, {"PG", "PNG", "Papua New Guinea"},
    {"PH", "PHL", "Philippines"}, {"PK", "PAK", "Pakistan"}, {"PL", "POL", "Poland"},
    {"PM", "SPM", "Saint Pierre and Miquelon"}, {"PN", "PCN", "Pitcairn"},
    {"PR", "PRI", "Puerto Rico"}, {"PS", "PSE", "Palestine"}, {"PT", "PRT", "Portugal"},
    {"PW", "PLW", "Palau"}, {"PY", "PRY", "Paraguay"}, {"QA", "QAT", "Qatar"},
    {"RE", "REU", "Réunion"}, {"RO", "ROU", "Romania"}, {"RS", "SRB", "Serbia"},
    {"RU", "RUS", "Russian Federation"}, {"RW", "RWA", "Rwanda"}, {"SA", "SAU", "Saudi Arabia"},
    {"SB", "SLB", "Solomon Islands"}, {"SC", "SYC", "Seychelles"}, {"SD", "SDN", "Sudan"},
    {"SE", "SWE", "Sweden"}, {"SG", "SGP", "Singapore"}, {"SH", "SHN", "Saint Helena"},
    {"SI", "SVN", "Slovenia"}, {"SJ", "SJM", "Svalbard and Jan Mayen"}, {"SK", "SVK", "Slovakia"},
    {"SL", "SLE", "Sierra Leone"}, {"SM", "SMR", "San Marino"}, {"SN", "SEN", "Senegal"},
    {"SO", "SOM", "Somalia"}, {"SR", "SUR", "Suriname"}, {"SS", "SSD", "South Sudan"},
    {"ST", "STP", "Sao Tome and Principe"}, {"SV", "SLV", "El Salvador"},
    {"SX", "SXM", "Sint Maarten"}, {"SY", "SYR", "Syria"}, {"SZ", "SWZ", "Eswatini"},
    {"TC", "TCA", "Turks and Caicos Islands"}, {"TD", "TCD", "Chad"},
    {"TF", "ATF", "French Southern Territories"}, {"TG", "TGO", "Togo"}, {"TH", "THA", "Thailand"},
    {"TJ", "TJK", "Tajikistan"}, {"TK", "TKL", "Tokelau"}, {"TL", "TLS", "Timor-Leste"},
    {"TM", "TKM", "Turkmenistan"}, {"TN", "TUN", "Tunisia"}, {"TO", "TON", "Tonga"},
    {"TR", "TUR", "Türkiye"}, {"TT", "TTO", "Trinidad and Tobago"}, {"TV", "TUV", "Tuvalu"},
    {"TW", "TWN", "Taiwan"}, {"TZ", "TZA", "Tanzania"}, {"UA", "UKR", "Ukraine"},
    {"UG", "UGA", "Uganda"}, {"UM", "UMI", "United States Minor Outlying Islands"},
    {"US", "USA", "United States"}, {"UY", "URY", "Uruguay"}, {"UZ", "UZB", "Uzbekistan"},
    {"VA", "VAT", "Holy See"}, {"VC", "VCT", "Saint Vincent and the Grenadines"},
    {"VE", "VEN", "Venezuela"}, {"VG", "VGB", "British Virgin Islands"},
    {"VI", "VIR", "U.S. Virgin Islands"}, {"VN", "VNM", "Vietnam"}, {"VU", "VUT", "Vanuatu"},
    {"WF", "WLF", "Wallis and Futuna"}, {"WS", "WSM", "Samoa"}, {"XK", "XKX", "Kosovo"}, {"YE", "YEM", "Yemen"},
    {"YT", "MYT", "Mayotte"}, {"ZA", "ZAF", "South Africa"}, {"ZM", "ZMB", "Zambia"},
    {"ZW", "ZWE", "Zimbabwe"},
});

// The two-letter codes of ISO 639-1 with the three-letter ones of ISO 639-2 and the English names.
constexpr auto kLanguages = std::to_array<CodeRow>({
    {"aa", "aar", "Afar"}, {"ab", "abk", "Abkhazian"}, {"ae", "ave", "Avestan"},
    {"af", "afr", "Afrikaans"}, {"ak", "aka", "Akan"}, {"am", "amh", "Amharic"},
    {"an", "arg", "Aragonese"}, {"ar", "ara", "Arabic"}, {"as", "asm", "Assamese"},
    {"av", "ava", "Avaric"}, {"ay", "aym", "Aymara"}, {"az", "aze", "Azerbaijani"},
    {"ba", "bak", "Bashkir"}, {"be", "bel", "Belarusian"}, {"bg", "bul", "Bulgarian"},
    {"bh", "bih", "Bihari languages"}, {"bi", "bis", "Bislama"}, {"bm", "bam", "Bambara"},
    {"bn", "ben", "Bengali"}, {"bo", "bod", "Tibetan"}, {"br", "bre", "Breton"},
    {"bs", "bos", "Bosnian"}, {"ca", "cat", "Catalan"}, {"ce", "che", "Chechen"},
    {"ch", "cha", "Chamorro"}, {"co", "cos", "Corsican"}, {"cr", "cre", "Cree"},
    {"cs", "ces", "Czech"}, {"cu", "chu", "Church Slavic"}, {"cv", "chv", "Chuvash"},
    {"cy", "cym", "Welsh"}, {"da", "dan", "Danish"}, {"de", "deu", "German"},
    {"dv", "div", "Divehi"}, {"dz", "dzo", "Dzongkha"}, {"ee", "ewe", "Ewe"},
    {"el", "ell", "Greek"}, {"en", "eng", "English"}, {"eo", "epo", "Esperanto"},
    {"es", "spa", "Spanish"}, {"et", "est", "Estonian"}, {"eu", "eus", "Basque"},
    {"fa", "fas", "Persian"}, {"ff", "ful", "Fulah"}, {"fi", "fin", "Finnish"},
    {"fj", "fij", "Fijian"}, {"fo", "fao", "Faroese"}, {"fr", "fra", "French"},
    {"fy", "fry", "Western Frisian"}, {"ga", "gle", "Irish"}, {"gd", "gla", "Gaelic"},
    {"gl", "glg", "Galician"}, {"gn", "grn", "Guarani"}, {"gu", "guj", "Gujarati"},
    {"gv", "glv", "Manx"}, {"ha", "hau", "Hausa"}, {"he", "heb", "Hebrew"}, {"hi", "hin", "Hindi"},
    {"ho", "hmo", "Hiri Motu"}, {"hr", "hrv", "Croatian"}, {"ht", "hat", "Haitian"},
    {"hu", "hun", "Hungarian"}, {"hy", "hye", "Armenian"}, {"hz", "her", "Herero"},
    {"ia", "ina", "Interlingua"}, {"id", "ind", "Indonesian"}, {"ie", "ile", "Interlingue"},
    {"ig", "ibo", "Igbo"}, {"ii", "iii", "Sichuan Yi"}, {"ik", "ipk", "Inupiaq"},
    {"io", "ido", "Ido"}, {"is", "isl", "Icelandic"}, {"it", "ita", "Italian"},
    {"iu", "iku", "Inuktitut"}, {"ja", "jpn", "Japanese"}, {"jv", "jav", "Javanese"},
    {"ka", "kat", "Georgian"}, {"kg", "kon", "Kongo"}, {"ki", "kik", "Kikuyu"},
    {"kj", "kua", "Kuanyama"}, {"kk", "kaz", "Kazakh"}, {"kl", "kal", "Kalaallisut"},
    {"km", "khm", "Central Khmer"}, {"kn", "kan", "Kannada"}, {"ko", "kor", "Korean"},
    {"kr", "kau", "Kanuri"}, {"ks", "kas", "Kashmiri"}, {"ku", "kur", "Kurdish"},
    {"kv", "kom", "Komi"}, {"kw", "cor", "Cornish"}, {"ky", "kir", "Kirghiz"},
    {"la", "lat", "Latin"}, {"lb", "ltz", "Luxembourgish"}, {"lg", "lug", "Ganda"},
    {"li", "lim", "Limburgan"}, {"ln", "lin", "Lingala"}, {"lo", "lao", "Lao"},
    {"lt", "lit", "Lithuanian"}, {"lu", "lub", "Luba-Katanga"}, {"lv", "lav", "Latvian"},
    {"mg", "mlg", "Malagasy"}, {"mh", "mah", "Marshallese"}, {"mi", "mri", "Maori"},
    {"mk", "mkd", "Macedonian"}, {"ml", "mal", "Malayalam"}, {"mn", "mon", "Mongolian"},
    {"mr", "mar", "Marathi"}, {"ms", "msa", "Malay"}, {"mt", "mlt", "Maltese"},
    {"my", "mya", "Burmese"}, {"na", "nau", "Nauru"}, {"nb", "nob", "Bokmål"},
    {"nd", "nde", "Ndebele"}, {"ne", "nep", "Nepali"}, {"ng", "ndo", "Ndonga"},
    {"nl", "nld", "Dutch"}, {"nn", "nno", "Norwegian Nynorsk"}, {"no", "nor", "Norwegian"},
    {"nr", "nbl", "Ndebele"}, {"nv", "nav", "Navajo"}, {"ny", "nya", "Chichewa"},
    {"oc", "oci", "Occitan"}, {"oj", "oji", "Ojibwa"}, {"om", "orm", "Oromo"},
    {"or", "ori", "Oriya"}, {"os", "oss", "Ossetian"}, {"pa", "pan", "Panjabi"},
    {"pi", "pli", "Pali"}, {"pl", "pol", "Polish"}, {"ps", "pus", "Pushto"},
    {"pt", "por", "Portuguese"}, {"qu", "que", "Quechua"}, {"rm", "roh", "Romansh"},
    {"rn", "run", "Rundi"}, {"ro", "ron", "Romanian"}, {"ru", "rus", "Russian"},
    {"rw", "kin", "Kinyarwanda"}, {"sa", "san", "Sanskrit"}, {"sc", "srd", "Sardinian"},
    {"sd", "snd", "Sindhi"}, {"se", "sme", "Northern Sami"}, {"sg", "sag", "Sango"},
    {"si", "sin", "Sinhala"}, {"sk", "slk", "Slovak"}, {"sl", "slv", "Slovenian"},
    {"sm", "smo", "Samoan"}, {"sn", "sna", "Shona"}, {"so", "som", "Somali"},
    {"sq", "sqi", "Albanian"}, {"sr", "srp", "Serbian"}, {"ss", "ssw", "Swati"},
    {"st", "sot", "Sotho"}, {"su", "sun", "Sundanese"}, {"sv", "swe", "Swedish"},
    {"sw", "swa", "Swahili"}, {"ta", "tam", "Tamil"}, {"te", "tel", "Telugu"},
    {"tg", "tgk", "Tajik"}, {"th", "tha", "Thai"}, {"ti", "tir", "Tigrinya"},
    {"tk", "tuk", "Turkmen"}, {"tl", "tgl", "Tagalog"}, {"tn", "tsn", "Tswana"},
    {"to", "ton", "Tonga"}, {"tr", "tur", "Turkish"}, {"ts", "tso", "Tsonga"},
    {"tt", "tat", "Tatar"}, {"tw", "twi", "Twi"}, {"ty", "tah", "Tahitian"},
    {"ug", "uig", "Uighur"}, {"uk", "ukr", "Ukrainian"}, {"ur", "urd", "Urdu"},
    {"uz", "uzb", "Uzbek"}, {"ve", "ven", "Venda"}, {"vi", "vie", "Vietnamese"},
    {"vo", "vol", "Volapük"}, {"wa", "wln", "Walloon"}, {"wo", "wol", "Wolof"},
    {"xh", "xho", "Xhosa"}, {"yi", "yid", "Yiddish"}, {"yo", "yor", "Yoruba"},
    {"za", "zha", "Zhuang"}, {"zh", "zho", "Chinese"}, {"zu", "zul", "Zulu"},
});

// clang-format on

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool Same(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, Lower, Lower);
}

bool IsLetter(char c) { return Lower(c) >= 'a' && Lower(c) <= 'z'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsHexDigit(char c) { return IsDigit(c) || (Lower(c) >= 'a' && Lower(c) <= 'f'); }

const CodeRow* Find(std::span<const CodeRow> rows, std::string_view word,
                    std::string_view CodeRow::*part) {
  const auto row = std::ranges::find_if(
      rows, [&](const CodeRow& one) { return !(one.*part).empty() && Same(one.*part, word); });
  return row == rows.end() ? nullptr : &*row;
}

// The row that a word means which is no code: by its three letters, its name, or nearly its name.
const CodeRow* Meant(std::span<const CodeRow> rows, std::string_view word) {
  if (const CodeRow* const row = Find(rows, word, &CodeRow::other)) return row;
  if (const CodeRow* const row = Find(rows, word, &CodeRow::name)) return row;
  constexpr std::size_t kShortestName = 4;
  if (word.size() < kShortestName) return nullptr;
  std::vector<std::string_view> names;
  for (const CodeRow& row : rows) names.push_back(row.name);
  const std::string_view nearest = NearestWord(word, names);
  return nearest.empty() ? nullptr : Find(rows, nearest, &CodeRow::name);
}

// Words that people write for a country and that ISO 3166-1 has not.
constexpr auto kCountryWords = std::to_array<std::pair<std::string_view, std::string_view>>(
    {{"UK", "GB"}, {"EN", "GB"}, {"England", "GB"}, {"Britain", "GB"}, {"America", "US"}});

WordCheck CheckAmong(std::string_view word, std::span<const std::string_view> words) {
  if (std::ranges::any_of(words, [&](std::string_view one) { return Same(one, word); })) return {};
  return {false, std::string(NearestWord(word, words))};
}

// A part of a language code after the first: a script, a region or a variant.
bool IsSubtag(std::string_view part) {
  if (part.size() == 2) return Find(Countries(), part, &CodeRow::code) != nullptr;
  if (part.size() == 3) return std::ranges::all_of(part, IsDigit);
  return part.size() >= 4 && part.size() <= 8 &&
         std::ranges::all_of(part, [](char c) { return IsLetter(c) || IsDigit(c); });
}

}  // namespace

std::span<const CodeRow> Countries() { return kCountries; }
std::span<const CodeRow> Languages() { return kLanguages; }

WordCheck CheckCountry(std::string_view word) {
  if (Find(kCountries, word, &CodeRow::code) != nullptr) return {};
  for (const auto& [written, meant] : kCountryWords) {
    if (Same(written, word)) return {false, std::string(meant)};
  }
  const CodeRow* const meant = Meant(kCountries, word);
  return {false, meant == nullptr ? "" : std::string(meant->code)};
}

WordCheck CheckLanguage(std::string_view word) {
  if (word.find('_') != std::string_view::npos) {
    std::string meant(word.substr(0, word.find('.')));
    std::ranges::replace(meant, '_', '-');
    return {false, CheckLanguage(meant).good ? meant : ""};
  }
  const std::string_view language = word.substr(0, word.find('-'));
  const bool three = language.size() == 3 && std::ranges::all_of(language, IsLetter);
  const bool known = Find(kLanguages, language, &CodeRow::code) != nullptr;
  const CodeRow* const meant = known ? nullptr : Meant(kLanguages, language);
  if (!known && (!three || meant != nullptr)) {
    if (meant == nullptr) return {false, {}};
    const std::string_view rest = word.substr(language.size());
    return {false, std::string(meant->code) + (rest.empty() ? "*" : std::string(rest))};
  }
  for (std::string_view rest = word.substr(language.size()); !rest.empty();) {
    rest.remove_prefix(1);
    const std::string_view part = rest.substr(0, rest.find('-'));
    if (!IsSubtag(part)) {
      const std::string country = CheckCountry(part).meant;
      const std::string_view before = word.substr(0, word.size() - rest.size());
      const std::string_view after = rest.substr(part.size());
      return {false, country.empty() ? "" : std::string(before) + country + std::string(after)};
    }
    rest.remove_prefix(part.size());
  }
  return {};
}

WordCheck CheckEnclosure(std::string_view word) { return CheckAmong(word, kEnclosureNames); }

WordCheck CheckBitness(std::string_view word) {
  constexpr auto kWords =
      std::to_array<std::pair<std::string_view, std::string_view>>({{"x64", "64"},
                                                                    {"amd64", "64"},
                                                                    {"x86_64", "64"},
                                                                    {"64-bit", "64"},
                                                                    {"64bit", "64"},
                                                                    {"x86", "32"},
                                                                    {"32-bit", "32"},
                                                                    {"32bit", "32"},
                                                                    {"i386", "32"},
                                                                    {"arm", "ARM64"},
                                                                    {"aarch64", "ARM64"},
                                                                    {"arm-64", "ARM64"}});
  for (const auto& [written, meant] : kWords) {
    if (Same(written, word)) return {false, std::string(meant)};
  }
  constexpr auto kValues = std::to_array<std::string_view>({"32", "64", "ARM64", "not supported"});
  return CheckAmong(word, kValues);
}

std::span<const TagRow> ProductTags() {
  static constexpr TagRow kTags[] = {{"Device.Usage.IsManagedDevice", "true,false"},
                                     {"Device.Hardware.Gpu.Exists", ""},
                                     {"Device.Hardware.Gpu.Intel", "", true},
                                     {"Device.Hardware.Gpu.NVIDIA", "", true},
                                     {"Device.Hardware.Gpu.AMD", "", true},
                                     {"Device.Hardware.Gpu.Others", "", true},
                                     {"Device.Hardware.Npu.Exists", "true,false"},
                                     {"Device.Hardware.Npu.mfr", "", true},
                                     {"Device.Hardware.Npu.description", "", true},
                                     {"User.Usage.Detected.Business", "Windows"},
                                     {"User.Usage.Detected.Gaming", "Windows"},
                                     {"User.Usage.Detected.SchoolWork", "Windows"},
                                     {"User.Usage.Detected.Creative", "Windows"},
                                     {"User.Usage.Detected.Entertainment", "Windows"},
                                     {"User.Usage.Detected.Developer", "Windows"},
                                     {"User.Usage.Detected.Family", "Windows"},
                                     {"DaysSinceOobe", "", true},
                                     {"OobeDate", "", true}};
  return kTags;
}

bool IsGuid(std::string_view word) {
  if (word.starts_with('{') && word.ends_with('}')) word = word.substr(1, word.size() - 2);
  constexpr std::string_view kForm = "00000000-0000-0000-0000-000000000000";
  return std::ranges::equal(word, kForm, [](char letter, char form) {
    return form == '-' ? letter == '-' : IsHexDigit(letter);
  });
}

}  // namespace yox::decision
