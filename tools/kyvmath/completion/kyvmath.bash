# bash completion for kyvmath

_kyvmath() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local psf="--gaussian --disk --motion --airy --psf-size --psf-center --single"
  local words="--help --json --library"
  case $previous in
    --mode) COMPREPLY=($(compgen -W "nearest linear cubic super lanczos" -- "$current")) && return ;;
    --format) COMPREPLY=($(compgen -W "png tif jpg" -- "$current")) && return ;;
  esac
  case ${COMP_WORDS[1]-} in
    resize) words="$words --out --size --scale --fit --region --mode --premultiply --format --quality --jobs" ;;
    otf) words="$words $psf" ;;
    psf) words="$words --single" ;;
    blur) words="$words --psf $psf --quality" ;;
    deblur) words="$words --psf $psf --snr --quality" ;;
    info) ;;
    *) words="$words --version resize otf psf blur deblur info" ;;
  esac
  if [[ $current == -* || $COMP_CWORD -eq 1 ]]; then
    COMPREPLY=($(compgen -W "$words" -- "$current"))
  else
    compopt -o default
    COMPREPLY=()
  fi
}

complete -F _kyvmath kyvmath
