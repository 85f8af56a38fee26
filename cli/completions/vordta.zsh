#compdef vordta
# Completion of vordta for zsh: sub-commands, options, their values, and files of the kinds that each place takes.

local -a encodings=(utf-8 wlatin1 latin1 us-ascii windows-1250 windows-1251 shift-jis euc-kr gb18030)
local stata='_files -g "*.dta(|.gz|.bz2|.xz|.zst|.zip)"' library='_files -g "*.(db|sqlite)"'
local table='_files -g "*.((csv|tsv)(|.gz|.bz2|.xz|.zst|.zip)|parquet|db|sqlite)"'

local -a common=(
  "--session-encoding[encoding of the host session]:encoding:($encodings)"
  '--quiet[show warnings and errors only]'
  '--log[write notes, warnings and errors to this file, too]:log file:_files'
  '--progress[show progress]:when:(auto on off)'
  '(-h --help)'{-h,--help}'[show help]'
)
local contract='--contract[what the module is asked for]:contract:(base extended)'
local strict=('--strict[fail without output when there is a warning]' '--threads[work on that many threads]:number:' '--compression-level[of a compressed file that is written]:number:')
local unpacking='--no-unpack-limit[read a compressed file however much it unpacks to]'
local -a reading=(
  $unpacking
  $contract
  '--validvarname[how variable names are cleaned]:rule:(v7 any)'
  "--encoding[encoding of the text in the file]:encoding:($encodings)"
)
local -a catalogs=(
  '--fmtlib[catalog of user formats]:LIBRARY.CATALOG: '
  '*--libname[name a SQLite library]:LIBRARY=PATH: '
)
local -a selection=(
  '(--drop)*--keep[only these variables]:NAME,NAME: '
  '(--keep)*--drop[all variables but these]:NAME,NAME: '
  '--rows[only these observations]:FIRST\:LAST: '
)
local labels='--labels[how labelled values are shown]:form:(codes text both)'
local schema='--schema[names, types, labels and formats beside CSV]:schema:_files -g "*.json"'

local context state state_descr line
typeset -A opt_args
_arguments -C '(-h --help)'{-h,--help}'[show help]' '--version[show the version]' \
  '1:command:((import\:"a Stata file becomes a data set" export\:"a data set becomes a Stata file" describe\:"what a Stata file or a data set holds" head\:"the first observations as a table" formats\:"the user formats of a library"))' \
  '*::arguments:->arguments'
[[ $state == arguments ]] || return 0

case $words[1] in
  import)
    _arguments $common $strict $reading $selection $catalogs $labels $schema \
      '--value-labels[turn value labels into user formats]:whether:(on off)' \
      '--raw[dates as days, date-times and times as seconds]' \
      '--replace[in a library: a table that no import made gives way too]' \
      '--limit[stop after N observations]:N: ' \
      "1:Stata file:$stata" '*:data set or Stata file:_files -g "*.((csv|tsv|dta)(|.gz|.bz2|.xz|.zst|.zip)|parquet|db|sqlite)"'
    ;;
  export)
    _arguments $common $contract $unpacking $strict $catalogs $schema '--labels-as-names[variable labels become the names]' \
      '--types[how numbers are stored]:types:(kept smallest double)' '*--na[a missing value in CSV]:TEXT: ' \
      "--encoding[encoding of CSV]:encoding:($encodings)" '--separator[between the fields of CSV]:CHARACTER: ' \
      "1:data set:$table" "2:Stata file:$stata"
    ;;
  describe)
    _arguments $common $reading '--json[one JSON object]' '1:file:_files -g "*.(dta(|.gz|.bz2|.xz|.zst|.zip)|db|sqlite)"'
    ;;
  head)
    _arguments $common $reading $selection $labels '(-n --limit)'{-n,--limit}'[show N observations]:N: ' \
      '1:file:_files -g "*.(dta(|.gz|.bz2|.xz|.zst|.zip)|db|sqlite)"'
    ;;
  formats)
    _arguments $common '--json[one JSON object]' "1:library:$library" '2:format: '
    ;;
esac
