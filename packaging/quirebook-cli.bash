# bash completion for quirebook-cli                         -*- shell-script -*-
# The verbs and options here are checked against `quirebook-cli --help` and
# each verb's --help by the package test, so a new option fails it until
# it is added here.

_quirebook_cli_options()
{
    local sources="--password --password-file --owner-password --owner-password-file -h --help"
    case $1 in
        compress) echo "$sources -l --level -o --output -q --quiet" ;;
        info) echo "$sources --json" ;;
        merge) echo "$sources -o --output -q --quiet" ;;
        pages) echo "$sources --order --delete --rotate --append -o --output -q --quiet" ;;
        pictures) echo "$sources --format --dpi --quality --pages -q --quiet" ;;
        protect) echo "$sources --new-password-file --new-owner-password-file --no-printing
                       --no-copying -o --output -q --quiet" ;;
        searchable) echo "$sources --all-pages --language --dpi -o --output -q --quiet" ;;
        sign) echo "$sources --signature --picture --signature-photo --ink --text --date --page
                    --at --width -o --output -q --quiet" ;;
        split) echo "$sources --ranges --every --each -q --quiet" ;;
        text) echo "$sources -o --output -q --quiet" ;;
        unlock) echo "$sources -o --output -q --quiet" ;;
    esac
}

_quirebook_cli()
{
    local cur prev words cword split
    _init_completion -s || return

    local verbs="compress info merge pages pictures protect searchable sign split text unlock"
    local pictures="jpg|jpeg|png|heic|heif|gif|bmp|tif|tiff|webp"

    if ((cword == 1)); then
        COMPREPLY=($(compgen -W "$verbs --help --version" -- "$cur"))
        return
    fi
    local verb=${words[1]}

    case $prev in
        -l | --level)
            COMPREPLY=($(compgen -W "small balanced high" -- "$cur"))
            return
            ;;
        --format)
            COMPREPLY=($(compgen -W "png jpeg" -- "$cur"))
            return
            ;;
        --ink)
            COMPREPLY=($(compgen -W "black blue" -- "$cur"))
            return
            ;;
        --at)
            COMPREPLY=($(compgen -W "bottom-left bottom-right top-left top-right center" -- "$cur"))
            return
            ;;
        --language)
            # Installed tesseract languages, joined with + for several.
            local codes=$(ls /usr/share/tesseract-ocr/*/tessdata/*.traineddata 2>/dev/null |
                sed 's|.*/||; s|\.traineddata$||' | grep -vx osd)
            local head=
            [[ $cur == *+* ]] && head=${cur%+*}+
            COMPREPLY=($(compgen -P "$head" -W "$codes" -- "${cur##*+}"))
            return
            ;;
        --password-file | --owner-password-file | --new-password-file | --new-owner-password-file)
            _filedir
            return
            ;;
        -o | --output)
            _filedir
            return
            ;;
        --append)
            _filedir pdf
            return
            ;;
        --picture | --signature-photo)
            _filedir "$pictures"
            return
            ;;
        --password | --owner-password | --order | --delete | --rotate | --dpi | --quality | \
            --pages | --signature | --text | --page | --width | --every | --ranges)
            return
            ;;
    esac
    $split && return

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(_quirebook_cli_options "$verb")" -- "$cur"))
        [[ ${COMPREPLY-} == *= ]] && compopt -o nospace
        return
    fi
    case $verb in
        info | merge | searchable | pictures) _filedir "pdf|$pictures" ;;
        *) _filedir pdf ;;
    esac
} &&
    complete -F _quirebook_cli quirebook-cli

# ex: filetype=sh
