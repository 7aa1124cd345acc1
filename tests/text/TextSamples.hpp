// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace i18n_test {

/// Text in one language, a long one and one of a line or two, in UTF-8, with the legacy character sets that it
/// is written in (names that iconv knows).
struct Sample {
  char const* language;
  std::vector<char const*> charsets;
  std::string text;
  std::string line;
};

inline std::vector<Sample> const& samples() {
  static std::vector<Sample> const all = {
      {"French",
       {"ISO-8859-1", "WINDOWS-1252", "CP850", "MACINTOSH"},
       "Le vieux libraire ouvrait sa boutique à huit heures précises, été comme hiver. Il balayait le trottoir, "
       "rangeait les caisses de livres abîmés et préparait un café très fort dont l'odeur se mêlait à celle du "
       "papier. Les premiers clients étaient presque toujours les mêmes : une institutrice à la retraite, un "
       "garçon timide qui ne demandait jamais rien, et le facteur, qui prétendait détester la poésie mais qui "
       "revenait chaque mardi.\nOn parlait peu. Là où d'autres commerçants vantaient leurs nouveautés, lui se "
       "contentait de désigner une étagère du menton. « Ça vous plaira peut-être », disait-il, et c'était déjà "
       "beaucoup.\n",
       "Où êtes-vous allés cet été ? Nous étions à la montagne, près du vieux château, et la forêt était déjà "
       "dorée.\n"},
      {"German",
       {"ISO-8859-1", "WINDOWS-1252", "CP850", "MACINTOSH"},
       "Über den Dächern der kleinen Stadt lag noch der Nebel, als der Bäcker die Tür öffnete und die ersten Körbe "
       "hinaustrug. Früher hatten hier fünf Bäckereien gestanden, jetzt war er der letzte, und das wussten alle. "
       "Die Brötchen waren nicht größer als anderswo, doch sie schmeckten nach Mühe und nach Geduld. Wer spät kam, "
       "musste sich mit dem begnügen, was übrig blieb.\nAn Markttagen reichte die Schlange bis zur Brücke. Man "
       "erzählte sich Neuigkeiten, schimpfte über die Straßenbahn, die schon wieder ausgefallen war, und freute "
       "sich auf das Frühstück.\n",
       "Für die Prüfung müssen wir am Samstag natürlich noch einmal üben; danach gehen wir für zwei Tage in die Berge "
       "und schlafen in einer Hütte.\n"},
      {"Spanish",
       {"ISO-8859-1", "WINDOWS-1252", "CP850", "MACINTOSH"},
       "La estación llevaba años cerrada, pero aún había quien bajaba cada mañana a mirar las vías. Decían que el "
       "último tren pasó una noche de otoño, sin detenerse, con todas las luces encendidas. El señor Núñez, que "
       "había sido jefe de estación, conservaba el reloj y le daba cuerda los domingos. «Algún día volverá», "
       "repetía, y los niños le creían.\nDespués llegó la carretera y el pueblo cambió de dirección: las casas "
       "nuevas miraban al sur, y la estación quedó a espaldas de todos, como un recuerdo que nadie quería tirar.\n",
       "El niño pequeño soñó que el año próximo también habría vacaciones más largas y que su corazón sería de "
       "montaña.\n"},
      {"French with a ligature",
       {"ISO-8859-15"},
       "Ma sœur avait le cœur léger ce matin-là. Elle préparait des œufs et des crêpes pour toute la famille, et "
       "personne n'osait lui dire qu'il était déjà midi. À côté de l'évier, une vieille horloge répétait les "
       "quarts d'heure sans que nul n'y prête attention. Le déjeuner ne coûtait que 4 € par personne.\n",
       "Sa sœur a préparé des œufs ; l'été a été très beau.\n"},
      {"German with the euro sign",
       {"ISO-8859-15"},
       "Die Fahrkarte kostet jetzt 12 €, für Schüler und Studierende nur 8 €. Wer früher bucht, zahlt weniger, und "
       "wer öfter fährt, bekommt eine Ermäßigung. Gültig ist sie für alle Züge außer den Nachtzügen.\n",
       "Für die Übernachtung mit Frühstück zahlen Sie 45 €.\n"},
      {"Lithuanian",
       {"WINDOWS-1257", "ISO-8859-13"},
       "Senas laikrodininkas atidarydavo savo dirbtuvę šeštą valandą ryto, vasarą ir žiemą. Ant sienų kabėjo daugybė "
       "laikrodžių, ir nė vienas nerodė to paties laiko. Vaikai mėgdavo užsukti po pamokų ir žiūrėti, kaip jis krausto "
       "mažus krumpliaračius. Jis sakydavo, kad teisingas laikas yra ne vienas, ir visi juo tikėjo.\n",
       "Rytoj ryte važiuosime į mišką grybauti, todėl pasiimkite šiltų drabužių ir šiek tiek duonos.\n"},
      {"Latvian",
       {"WINDOWS-1257", "ISO-8859-13"},
       "Vecais pulksteņmeistars atvēra savu darbnīcu sešos no rīta gan vasarā, gan ziemā. Pie sienām karājās daudz "
       "pulksteņu, un neviens nerādīja vienu un to pašu laiku. Bērni pēc skolas mīlēja ieskatīties pa logu un vērot, "
       "kā viņš kārto mazos zobratiņus. Viņš mēdza teikt, ka pareizu laiku ir vairāk nekā viens, un visi ticēja. "
       "Ķirši ziedēja, un ģimenes devās pastaigā.\n",
       "Rīt no rīta mēs brauksim uz mežu lasīt sēnes, tāpēc paņemiet līdzi siltas drēbes un nedaudz maizes. Būs "
       "jāšķērso upe.\n"},
      {"Estonian",
       {"WINDOWS-1257", "ISO-8859-13"},
       "Vana kellassepp avas oma töökoja kell kuus hommikul, nii suvel kui ka talvel. Seintel rippus palju kelli ja "
       "ükski neist ei näidanud sama aega. Lapsed armastasid pärast kooli sisse astuda, süüa šokolaadi ja mängida "
       "malet, ning ühel õhtul kuulasid nad žürii otsust raadiost. Õige aeg ei ole üks, ütles ta.\n",
       "Homme hommikul sõidame metsa seeni korjama, võtke kaasa soojad riided, šokolaadi ja žurnaal. Õhtul tuleme "
       "tagasi, sööme süldi ära.\n"},
      {"Polish",
       {"ISO-8859-2", "WINDOWS-1250", "CP852"},
       "Nad rzeką stał stary młyn, w którym od lat nikt nie mełł już zboża. Dzieci bały się tam chodzić po zmroku, "
       "choć żadne nie chciało się do tego przyznać. Mówiono, że młynarz odszedł pewnej jesieni i zostawił wszystko "
       "tak, jak było: mąkę w workach, kożuch na gwoździu, a na stole niedokończony list. Wiosną woda podchodziła "
       "pod same drzwi i słychać było, jak skrzypią koła.\nPóźniej ktoś kupił tę ziemię, wyremontował dach i otworzył "
       "małą gospodę. Goście przyjeżdżają z daleka, jedzą świeże pstrągi i pytają o młynarza, lecz nikt już nie "
       "pamięta, jak miał na imię.\n",
       "Proszę przyjść jutro o ósmej rano, ponieważ wtedy będzie można spokojnie porozmawiać o wszystkim, co się "
       "wczoraj wydarzyło. Dziękuję za cierpliwość i życzę miłego wieczoru.\n"},
      {"Czech",
       {"ISO-8859-2", "WINDOWS-1250", "CP852"},
       "Když se ráno zvedla mlha, bylo vidět až ke starému kostelu na kopci. Cesta k němu vedla kolem rybníka, přes "
       "dřevěný můstek a potom mezi třešněmi, které nikdo nečesal. Říkalo se, že kdo vyjde až nahoru dřív než slunce, "
       "tomu se splní přání, ale musí přitom mlčet. Babička tomu nevěřila, a přesto tam každý rok šla.\nNahoře stála "
       "lavička s vyřezávanými písmeny. Nikdo už nevěděl, kdo je tam vyryl a proč, jen datum bylo zřetelné. Seděli "
       "jsme tam dlouho a dívali se, jak se město pomalu probouzí.\n",
       "Příští týden přijede můj bratr a společně půjdeme na výlet k řece, kde jsme si jako děti stavěli lodičky "
       "z kůry. Těším se, že bude hezké počasí.\n"},
      {"Hungarian",
       {"ISO-8859-2", "WINDOWS-1250"},
       "A régi ház a falu végén állt, ahol az út már csak ösvény volt, és a kertek összenőttek az erdővel. Nyáron "
       "sűrű árnyék borult az udvarra, télen pedig olyan csend, hogy hallani lehetett a hó esését. Az öreg órásmester "
       "lakott benne, aki minden órát meg tudott javítani, csak a sajátját nem. Azt mondta, hogy az ő ideje úgyis "
       "másképp telik.\nHa valaki bekopogott hozzá, először teát főzött, azután megkérdezte, mi a baj. Nem sietett "
       "soha, és mégis mindennel elkészült. A gyerekek szerették, mert a zsebében mindig volt egy kis csavar vagy "
       "rugó, amiből játékot lehetett készíteni.\n",
       "Köszönöm szépen a meghívást, nagyon örülök, hogy végre találkozhatunk. Szombaton délután érkezem a "
       "pályaudvarra, "
       "és ott megvárlak téged a főbejárat előtt.\n"},
      {"Turkish",
       {"ISO-8859-9", "WINDOWS-1254"},
       "Küçük kasabanın meydanında eski bir çınar ağacı vardı ve bütün yollar onun gölgesinde buluşurdu. Sabahları "
       "çaycı masaları dizer, yaşlılar gazetelerini açar, çocuklar okula giderken ağacın gövdesine dokunurdu. Bunun "
       "uğur getirdiğine inanırlardı. Yağmur yağdığında kimse kaçmaz, dalların altında biraz daha sıkışırlardı.\nBir "
       "gün belediyeden adamlar geldi, ölçtüler, yazdılar, gittiler. Herkes ağacın kesileceğini düşündü. Oysa yalnızca "
       "bir bank koyacaklardı. O günden sonra çınarın altında oturacak yer bulmak güçleşti, ama kimse şikâyet "
       "etmedi.\n",
       "Yarın akşam arkadaşlarımla birlikte deniz kıyısında yürüyüş yapacağız, sonra da küçük bir lokantada balık "
       "yiyeceğiz. Sen de gelmek ister misin, yoksa çalışıyor musun?\n"},
      {"Russian",
       {"ISO-8859-5", "WINDOWS-1251", "KOI8-R", "CP866", "MAC-CYRILLIC"},
       "Старый смотритель маяка просыпался раньше всех в посёлке и первым делом смотрел на море. Он знал его так, как "
       "другие знают своих соседей: по голосу, по походке, по настроению. Если вода была тёмной и гладкой, он "
       "качал головой и шёл проверять лампу. Рыбаки верили ему больше, чем радио, и редко ошибались.\nЗимой дорогу "
       "заносило, и неделями к нему никто не приходил. Тогда он читал одни и те же книги, писал длинные письма и "
       "складывал их в ящик стола. Никто не знал, кому они были адресованы, а спросить не решались.\n",
       "Завтра утром мы поедем за город, чтобы собрать грибы и подышать свежим воздухом. Возьмите с собой тёплую "
       "одежду и немного хлеба.\n"},
      {"Ukrainian",
       {"ISO-8859-5", "WINDOWS-1251", "KOI8-U", "MAC-CYRILLIC"},
       "Завтра вранці ми поїдемо за місто, щоб зібрати гриби й подихати свіжим повітрям. Старий млин стоїть біля "
       "річки, і колесо його вже не крутиться, але діти люблять там гратися. Її бабуся розповідала, що колись тут "
       "мололи зерно з усіх навколишніх сіл, а мірошник знав кожного на ім'я.\n",
       "Візьміть із собою теплий одяг і трохи хліба, бо ввечері в горах буде холодно. Її зустрінемо на вокзалі.\n"},
      {"Greek, Windows",
       {"WINDOWS-1253"},
       "Άνοιξε το παράθυρο, είπε η Άννα, και ο αέρας μπήκε στο δωμάτιο. Άλλοι έφυγαν νωρίς, άλλοι έμειναν μέχρι το "
       "βράδυ και μιλούσαν για τα παλιά. Κανείς δεν θυμόταν πια ποιος είχε φτιάξει το μικρό σπίτι στην άκρη.\n",
       "Άνοιξε το παράθυρο, είπε η Άννα. Αύριο το πρωί θα πάμε στην αγορά για να πάρουμε φρέσκα λαχανικά.\n"},
      {"Bulgarian",
       {"WINDOWS-1251", "CP866", "MAC-CYRILLIC"},
       "В малкото планинско село часовникът на кулата беше спрял преди много години и никой не бързаше да го поправи. "
       "Хората знаеха кое време е по сенките, по камбаните на стадото и по миризмата на хляб. Учителят, който дойде "
       "от града, в началото се ядосваше, после свикна, а накрая сам започна да казва: ще се видим, когато слънцето "
       "стигне до чешмата.\nДецата го обичаха, защото им разказваше за далечни морета и никога не повишаваше глас.\n",
       "Утре сутринта ще отидем на пазара, за да купим пресни плодове и зеленчуци за цялата седмица. После ще готвим "
       "заедно и ще поканим съседите.\n"},
      {"Greek",
       {"ISO-8859-7", "WINDOWS-1253"},
       "Στο μικρό λιμάνι οι βάρκες γύριζαν πριν ξημερώσει και οι ψαράδες άπλωναν τα δίχτυα στον ήλιο. Ο παππούς μου "
       "καθόταν πάντα στην ίδια πέτρα και μετρούσε τα καράβια που περνούσαν μακριά. Έλεγε πως κάθε καράβι κουβαλάει "
       "μια ιστορία και πως αρκεί να έχεις υπομονή για να την ακούσεις. Εμείς τα παιδιά δεν τον πιστεύαμε, όμως "
       "μέναμε κοντά του μέχρι το μεσημέρι.\nΤο βράδυ άναβαν τα φώτα στην πλατεία και όλοι έβγαιναν για περίπατο. "
       "Μύριζε γιασεμί και ψητό ψάρι, και κανείς δεν βιαζόταν να γυρίσει στο σπίτι του.\n",
       "Αύριο το πρωί θα πάμε στην αγορά για να πάρουμε φρέσκα λαχανικά και λίγο τυρί. Μετά θα μαγειρέψουμε όλοι "
       "μαζί στο σπίτι της γιαγιάς.\n"},
      {"Hebrew",
       {"ISO-8859-8", "WINDOWS-1255"},
       "בקצה הרחוב עמדה חנות ספרים ישנה, ובעל החנות הכיר כל ספר וכל לקוח. הוא נהג לשבת ליד החלון, לשתות תה ולקרוא בקול "
       "שורות שמצאו חן בעיניו. מי שנכנס במקרה נשאר בדרך כלל זמן רב, ומי שיצא לקח אתו תמיד יותר ממה שתכנן. הילדים "
       "אהבו את הסולם הגבוה ואת הריח של הנייר הישן.\nיום אחד תלה המוכר שלט קטן ועליו כתב שהחנות תיסגר בסוף החורף. "
       "אנשי השכונה באו בזה אחר זה, קנו ספרים שלא היו צריכים, וביקשו ממנו להישאר עוד קצת. הוא חייך ולא ענה, אבל בסוף "
       "החורף השלט כבר לא היה שם.\n",
       "מחר בבוקר נלך יחד אל השוק כדי לקנות לחם טרי, ירקות ופירות לכל השבוע. אחר כך נבשל ארוחה גדולה ונזמין את השכנים "
       "שלנו.\n"},
      {"Arabic",
       {"ISO-8859-6", "WINDOWS-1256"},
       "في آخر الشارع القديم كان هناك دكان صغير يبيع الكتب المستعملة، وكان صاحبه يعرف كل كتاب وكل زائر. كان يجلس قرب "
       "النافذة ويشرب الشاي ويقرأ بصوت هادئ ما يعجبه من السطور. من يدخل المكان صدفة يبقى فيه وقتا طويلا، ومن يخرج يحمل "
       "معه دائما أكثر مما أراد. وكان الأطفال يحبون السلم الخشبي ورائحة الورق القديم.\nوفي يوم من الأيام علق الرجل "
       "ورقة "
       "كتب عليها أن الدكان سيغلق في نهاية الشتاء. جاء أهل الحي واحدا بعد الآخر واشتروا كتبا لا يحتاجون إليها وطلبوا "
       "منه أن يبقى قليلا. ابتسم ولم يجب.\n",
       "سنذهب غدا صباحا إلى السوق لنشتري الخبز الطازج والخضار والفواكه، ثم نطبخ معا طعام الغداء وندعو الجيران إلى "
       "البيت.\n"},
      {"Japanese",
       {"SHIFT_JIS", "EUC-JP", "ISO-2022-JP"},
       "町のはずれに、古い時計屋がありました。店の主人はもう八十歳を過ぎていましたが、毎朝かならず六時に店を開け、"
       "お茶を飲みながら昨日の続きを直すのでした。壁にはたくさんの時計がかかっていて、どれも少しずつ違う時間を"
       "指していました。「正しい時間はひとつではないんだよ」と主人は笑って言いました。\n子どもたちは学校の帰りに店を"
       "のぞき、歯車やネジの入った箱を見せてもらうのが好きでした。ある日、見知らぬ女の人が小さな懐中時計を持って"
       "来ました。それは主人が若いころに作った、はじめてのものだったのです。\n",
       "明日の朝、友だちと一緒に山へ行くことにしました。天気がよければ、頂上でお弁当を食べてから帰ります。"
       "カメラも忘れずに持って行きましょう。\n"},
      {"Chinese, simplified",
       {"GB2312", "GB18030"},
       "老街的尽头有一家小小的旧书店，店主是一位退休的老师。他每天早上七点开门，先扫地，再泡一壶茶，然后坐在窗边看书。"
       "来的人不多，却几乎都是熟客。有人来找一本多年前读过的小说，有人只是想找个安静的地方坐一会儿。老人从不催促，"
       "也很少推荐，只是偶尔抬起头来笑一笑。\n下雨的日子，书店里总是特别暖和。孩子们放学以后跑进来躲雨，顺便翻看那些"
       "图画书。后来他们长大了，去了很远的城市，可是每次回家，都要先到书店里看看老师还在不在。\n",
       "明天早上我们一起去市场买新鲜的蔬菜和水果，然后回家做饭，还要请邻居们过来吃午饭。如果天气好，下午可以去公园散步"
       "。\n"},
      {"Chinese, traditional",
       {"BIG5"},
       "老街的盡頭有一家小小的舊書店，店主是一位退休的老師。他每天早上七點開門，先掃地，再泡一壺茶，然後坐在窗邊看書。"
       "來的人不多，卻幾乎都是熟客。有人來找一本多年前讀過的小說，有人只是想找個安靜的地方坐一會兒。老人從不催促，"
       "也很少推薦，只是偶爾抬起頭來笑一笑。\n下雨的日子，書店裡總是特別暖和。孩子們放學以後跑進來躲雨，順便翻看那些"
       "圖畫書。後來他們長大了，去了很遠的城市，可是每次回家，都要先到書店裡看看老師還在不在。\n",
       "明天早上我們一起去市場買新鮮的蔬菜和水果，然後回家做飯，還要請鄰居們過來吃午飯。如果天氣好，下午可以去公園散步"
       "。\n"},
      {"Korean",
       {"EUC-KR", "ISO-2022-KR"},
       "마을 끝에는 오래된 시계 가게가 하나 있었습니다. 주인 할아버지는 매일 아침 여섯 시에 문을 열고, 차를 마시면서 "
       "어제 "
       "고치다 만 시계를 다시 들여다보았습니다. 벽에는 수많은 시계가 걸려 있었는데, 모두 조금씩 다른 시간을 가리키고 "
       "있었습니다. 할아버지는 올바른 시간은 하나가 아니라고 웃으며 말했습니다.\n아이들은 학교에서 돌아오는 길에 "
       "가게에 "
       "들러 톱니바퀴와 나사가 든 상자를 구경하는 것을 좋아했습니다. 어느 날 낯선 여자가 작은 회중시계를 가지고 "
       "왔습니다. "
       "그것은 할아버지가 젊었을 때 처음으로 만든 것이었습니다.\n",
       "내일 아침에 친구들과 함께 산에 올라가기로 했습니다. 날씨가 좋으면 정상에서 도시락을 먹고 천천히 내려올 "
       "생각입니다.\n"},
      {"Thai",
       {"TIS-620", "WINDOWS-874"},
       "ที่ปลายถนนสายเก่ามีร้านหนังสือเล็ก ๆ อยู่ร้านหนึ่ง เจ้าของร้านเป็นครูที่เกษียณแล้ว ทุกเช้าเขาจะเปิดร้านตอนเจ็ดโมง กวาดพื้น "
       "ชงชา แล้วนั่งอ่านหนังสืออยู่ริมหน้าต่าง คนที่แวะมาไม่มากนัก แต่เกือบทุกคนเป็นลูกค้าประจำ บางคนมาหานิยายที่เคยอ่านเมื่อหลายปีก่อน "
       "บางคนเพียงอยากหาที่เงียบ ๆ นั่งพักสักครู่\nวันที่ฝนตก ในร้านจะอบอุ่นเป็นพิเศษ เด็ก ๆ เลิกเรียนแล้ววิ่งเข้ามาหลบฝน "
       "และเปิดดูหนังสือภาพ ต่อมาพวกเขาโตขึ้นและย้ายไปอยู่เมืองไกล แต่ทุกครั้งที่กลับบ้านก็จะแวะมาดูว่าครูยังอยู่หรือไม่\n",
       "พรุ่งนี้เช้าเราจะไปตลาดด้วยกันเพื่อซื้อผักสดและผลไม้ แล้วกลับบ้านมาทำอาหารกลางวันเลี้ยงเพื่อนบ้าน\n"},
      {"English",
       {},
       "The old clockmaker opened his shop at six every morning, summer and winter. The walls were covered with "
       "clocks, "
       "and no two of them agreed. There is more than one right time, he used to say, and the children believed him.\n",
       "Tomorrow we shall walk to the river and have our lunch there, unless it rains.\n"},
  };
  return all;
}

}  // namespace i18n_test
