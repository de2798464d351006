#include "DemoProjects.h"

namespace ledgerfern {

namespace {

constexpr DemoTask storefrontTasks[] = {
    {"The cart total is off by one cent when a voucher covers only part of the basket. Find out why and fix "
     "it, with a test.",
     "Cart total with partial vouchers"},
    {"Add a guest checkout. No account, but we still need the e-mail address for the receipt.",
     "Guest checkout"},
    {"Product pages take almost four seconds on a phone. Profile the queries and tell me what dominates "
     "before you change anything.",
     "Slow product pages"},
    {"Move the image resizing out of the request into a background job.", "Background image resizing"},
    {"Customers can't apply a gift card twice, but the API lets them. Close that hole.",
     "Gift card applied twice"},
    {"Upgrade the payment SDK to the next major version. Read its migration notes first, please.",
     "Payment SDK upgrade"},
    {"The stock counter goes negative when two people buy the last item. Reproduce it, then fix the race.",
     "Stock counter race"},
    {"Write an end-to-end test of the whole checkout that we can run before each release.",
     "End-to-end checkout test"},
};
constexpr DemoTask invoiceTasks[] = {
    {"Invoices for customers in Switzerland show the wrong VAT rate since January. Can you look into it?",
     "VAT rate for Switzerland"},
    {"Add an endpoint that lists all overdue invoices, paged, sorted by due date.",
     "Overdue invoices endpoint"},
    {"Our PDF renderer leaks memory. After some two hundred invoices the worker gets killed.",
     "PDF worker memory leak"},
    {"Please split invoice_service.py, it has 2,400 lines and nobody dares to touch it.",
     "Split invoice_service.py"},
    {"Rounding: line items round half up, totals round half to even. Make both the same and document it.",
     "One rounding rule"},
    {"Write a migration that backfills currency on old invoices. It has to be safe to run twice.",
     "Backfill currency"},
    {"The nightly dunning run sent reminders for paid invoices. Find out how that could happen.",
     "Dunning run post-mortem"},
};
constexpr DemoTask mobileTasks[] = {
    {"The map jumps back to the start position when the phone is rotated. Keep the viewport.",
     "Map keeps its viewport"},
    {"Offline tiles: download a region in advance and show how much space it needs.", "Offline map tiles"},
    {"Take screenshots of all onboarding screens in dark mode and check the contrast.",
     "Onboarding in dark mode"},
    {"The app crashes on start for users who revoked the location permission. Logs are in crash/.",
     "Crash without location permission"},
    {"Replace our hand-written list diffing by the platform's own.", "Platform list diffing"},
    {"Walk through the sign-up flow in the browser build and note everything that looks wrong.",
     "Sign-up flow review"},
    {"Battery drain on long hikes: batch the location updates when the screen is off.",
     "Batched location updates"},
};
constexpr DemoTask importTasks[] = {
    {"Convert the 1998 customer export to UTF-8. There are at least three encodings in the same file.",
     "Mixed encodings in customer export"},
    {"Write an importer for the fixed-width ledger files. The layout is in docs/LAYOUT.TXT, half of it is "
     "wrong.",
     "Fixed-width ledger importer"},
    {"Go through every COPY book and list the fields that are never read.", "Unused COPY book fields"},
    {"The import stops at record 48,211 without any message. Please make it say what it doesn't like.",
     "Import stops at record 48,211"},
    {"Compare last night's import with the old system's totals and explain each difference.",
     "Explain the differences in totals"},
};
constexpr DemoTask householdTasks[] = {
    {"レシートの写真から金額と日付を読み取って、自動で支出に追加できるようにしてください。",
     "レシートの読み取り"},
    {"月ごとの予算を超えたときに通知を出したいです。まず設計を提案してください。", "予算超過の通知"},
    {"グラフの色がダークモードで見づらいので直してください。", "ダークモードのグラフ"},
    {"CSVの書き出しで日本語が文字化けします。原因を調べて直してください。", "CSVの文字化け"},
    {"家族で家計簿を共有する機能を追加してください。テストもお願いします。", "家族での共有"},
    {"起動が遅いです。どこに時間がかかっているか測ってください。", "起動時間の計測"},
};
constexpr DemoTask gardenTasks[] = {
    {"Show the frost dates of the user's region on the sowing calendar 🥶", "Frost dates on the calendar"},
    {"Add companion planting hints: tomatoes like basil, beans don't like onions, that kind of thing.",
     "Companion planting hints"},
    {"The watering reminder fires at 3 in the morning for users who travel. Use the garden's time zone.",
     "Watering reminder time zone"},
    {"Let people drag beds around on the plan, snapping to 10 cm.", "Drag beds with snapping"},
    {"🐛 Deleting a bed leaves its plants behind as orphans. Clean up, and add a constraint.",
     "Orphaned plants"},
};
constexpr DemoTask orderTasks[] = {
    {"מסך ההזמנות לא מיושר לימין בטלפונים ישנים. תבדוק בבקשה ותתקן.", "יישור מסך ההזמנות"},
    {"תוסיף סינון לפי תאריך וסטטוס לרשימת ההזמנות.", "סינון הזמנות"},
    {"הדוח היומי סופר הזמנות שבוטלו. צריך לתקן ולכתוב בדיקה.", "דוח יומי בלי ביטולים"},
    {"תכתוב סקריפט שמעביר את ההזמנות הישנות לטבלה החדשה.", "העברת הזמנות ישנות"},
};
constexpr DemoTask dotfilesTasks[] = {
    {"My shell takes 900 ms to start. Find the slow parts of the zsh configuration.", "Slow shell start"},
    {"Make the install script work on a fresh Debian as well as on macOS.", "Install script for Debian"},
    {"Clean up the tmux configuration, half of the bindings are never used.", "tmux clean-up"},
    {"Write a small script that renames photos by the date they were taken.", "Rename photos by date"},
};
constexpr DemoTask learningTasks[] = {
    {"Train a baseline on the bird-song recordings, logistic regression on the spectrograms is enough.",
     "Bird-song baseline"},
    {"The validation loss is lower than the training loss. What did we do wrong?",
     "Suspicious validation loss"},
    {"Turn the notebook into a script with a config file so that runs can be repeated.",
     "Notebook to script"},
    {"Compare three augmentation strategies and write up the result with plots.", "Augmentation comparison"},
    {"Our data loader is the bottleneck, the GPU idles half of the time. Profile it.",
     "Data loader bottleneck"},
};
constexpr DemoTask travelTasks[] = {
    {"أضف صفحة لكل مدينة تعرض المقالات والصور والخريطة.", "صفحات المدن"},
    {"الموقع بطيء عند فتح الصور الكبيرة، هل يمكن تحسين ذلك؟", "تسريع عرض الصور"},
    {"أصلح اتجاه النص في التعليقات التي تمزج العربية والإنجليزية.", "اتجاه النص في التعليقات"},
};

constexpr std::string_view englishFollowUps[] = {
    "Looks good. Now add a test for the empty case.",
    "Can you explain that in two sentences before you go on?",
    "Hm, that broke the build on CI. Here is the log, please have a look.",
    "Yes, go ahead.",
    "I'd rather not add a dependency for this. Try it with the standard library.",
    "Please revert the last change, the old name was better.",
    "What happens if the request times out half-way?",
    "Nice. Commit it with a message that says why.",
    "Run the whole test suite once more.",
    "The reviewer asks for a smaller change. Which parts can wait?",
    "Still fails for me, with the same message.",
    "Use the existing error type instead of a new one.",
    "Let's write down what we learned in docs/decisions.md.",
    "Could the same bug be in the other two handlers?",
    "Good morning! Where were we?",
};
constexpr std::string_view japaneseFollowUps[] = {
    "ありがとうございます。テストも追加してください。",
    "もう少し詳しく説明してもらえますか？",
    "まだ同じエラーが出ます。",
    "はい、その方針で進めてください。",
    "変更点をまとめてコミットしてください。",
};
constexpr std::string_view hebrewFollowUps[] = {
    "מצוין, תמשיך.",
    "זה עדיין נכשל אצלי עם אותה הודעה.",
    "תוסיף בבקשה בדיקה גם למקרה הריק.",
    "תריץ שוב את כל הבדיקות.",
};
constexpr std::string_view arabicFollowUps[] = {
    "ممتاز، تابع من فضلك.",
    "ما زال الخطأ نفسه يظهر.",
    "أضف اختبارا لهذه الحالة.",
};

// clang-format off
constexpr DemoProject projects[] = {
    {"storefront",       "feat/guest-checkout", 34'500, 26'000, 100, storefrontTasks, englishFollowUps},
    {"invoice-api",      "main",                14'200, 19'500, 100, invoiceTasks,    englishFollowUps},
    {"atlas-mobile",     "fix/viewport",        21'000, 71'000, 100, mobileTasks,     englishFollowUps},
    {"legacy-import",    "main",                12'800, 18'000,  57, importTasks,     englishFollowUps},
    {"家計簿アプリ",       "develop",             15'600, 21'500, 100, householdTasks,  japaneseFollowUps},
    {"🌿 garden-planner", "main",                13'400, 17'800, 100, gardenTasks,     englishFollowUps},
    {"מערכת-הזמנות",       "main",                16'100, 20'300, 100, orderTasks,      hebrewFollowUps},
    {"dotfiles",         "main",                 9'800, 14'600, 100, dotfilesTasks,   englishFollowUps},
    {"ml-playground",    "augmentation",        12'300, 16'900, 100, learningTasks,   englishFollowUps},
    {"مدونة-السفر",        "main",                14'900, 18'700, 100, travelTasks,     arabicFollowUps},
};
// clang-format on

}  // namespace

std::span<const DemoProject> demoProjects() {
    return projects;
}

}  // namespace ledgerfern
