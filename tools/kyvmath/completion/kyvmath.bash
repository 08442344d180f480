# bash completion for kyvmath

_kyvmath() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local psf="--gaussian --disk --motion --airy --psf-size --psf-center --single"
  local results="--out --suffix --in-place --no-clobber --dry-run --format --metadata --no-auto-orient --background
    --quality --subsampling --progressive"
  local words="--help --json --library"
  case $previous in
    --mode) COMPREPLY=($(compgen -W "nearest linear cubic super lanczos" -- "$current")) && return ;;
    --format) COMPREPLY=($(compgen -W "png tif jpg" -- "$current")) && return ;;
    --metadata) COMPREPLY=($(compgen -W "keep icc strip" -- "$current")) && return ;;
    --subsampling) COMPREPLY=($(compgen -W "444 422 420" -- "$current")) && return ;;
  esac
  case ${COMP_WORDS[1]-} in
    resize)
      words="$words --size --scale --fit --cover --pad --only-shrink --force --region --crop --mode --linear --depth
        --premultiply --jobs $results"
      ;;
    otf) words="$words $psf" ;;
    psf) words="$words --single" ;;
    blur) words="$words --psf $psf $results" ;;
    deblur) words="$words --psf $psf --snr $results" ;;
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
